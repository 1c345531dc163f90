// Clang's thread-safety attributes as macros, empty for other compilers. The analysis runs with
// -Wthread-safety -Wthread-safety-beta; see docs/design.md for the locks and their order.
#pragma once

#if defined(__clang__)
#define NIMBOXI_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define NIMBOXI_THREAD_ATTRIBUTE(x)
#endif

#define NIMBOXI_CAPABILITY(name) NIMBOXI_THREAD_ATTRIBUTE(capability(name))
#define NIMBOXI_SCOPED_CAPABILITY NIMBOXI_THREAD_ATTRIBUTE(scoped_lockable)
#define NIMBOXI_GUARDED_BY(lock) NIMBOXI_THREAD_ATTRIBUTE(guarded_by(lock))
#define NIMBOXI_ACQUIRED_BEFORE(...) NIMBOXI_THREAD_ATTRIBUTE(acquired_before(__VA_ARGS__))
#define NIMBOXI_REQUIRES(...) NIMBOXI_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define NIMBOXI_ACQUIRE(...) NIMBOXI_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define NIMBOXI_RELEASE(...) NIMBOXI_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define NIMBOXI_EXCLUDES(...) NIMBOXI_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define NIMBOXI_NO_THREAD_SAFETY_ANALYSIS NIMBOXI_THREAD_ATTRIBUTE(no_thread_safety_analysis)
