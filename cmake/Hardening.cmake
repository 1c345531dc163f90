# How our own targets are compiled: strict C++20, warnings, position-independent, hardened, optionally with a
# sanitizer. It is said target by target, so that nothing reaches a project that takes this one in.
# Warnings are errors where CMAKE_COMPILE_WARNING_AS_ERROR is on; the presets set it.
set(NIMBOLSP_SANITIZE "" CACHE STRING "Sanitizer: empty, address (with undefined) or thread")
include(CheckPIESupported)
check_pie_supported()

# nimbolsp_harden(FOLDER): every target that the folder has defined so far.
function(nimbolsp_harden folder)
  get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(NOT type MATCHES "INTERFACE|UTILITY")
      nimbolsp_harden_target(${target} ${type})
    endif()
  endforeach()
endfunction()

function(nimbolsp_harden_target target type)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 20 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF POSITION_INDEPENDENT_CODE ON)
  get_target_property(own ${target} COMPILE_OPTIONS)
  set(compile -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Wold-style-cast
      -Wcast-align -Wformat=2 -fstack-protector-strong)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    list(APPEND compile -Wno-restrict)  # a false alarm of g++ 12 at -O3, in its own header: "x" + std::string
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    list(APPEND compile -Wthread-safety -Wthread-safety-beta -Wreserved-identifier -Wreserved-macro-identifier)
  endif()
  set(link -Wl,-z,relro,-z,now -Wl,-z,noexecstack)
  if(NIMBOLSP_SANITIZE STREQUAL "address")
    list(APPEND compile -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    list(APPEND link -fsanitize=address,undefined)
    if(NIMBOLSP_FUZZ)
      list(APPEND compile -fsanitize=fuzzer-no-link)
    endif()
  elseif(NIMBOLSP_SANITIZE STREQUAL "thread")
    list(APPEND compile -fsanitize=thread -fno-omit-frame-pointer)
    list(APPEND link -fsanitize=thread)
  elseif(NOT "-O0" IN_LIST own)
    # Fortified calls need optimisation, and hide errors from the sanitizers.
    set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
    list(APPEND compile $<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=2>)
  endif()
  target_compile_options(${target} PRIVATE ${compile})
  if(NOT type STREQUAL "STATIC_LIBRARY")  # whoever links a static library decides how
    target_link_options(${target} PRIVATE ${link})
  endif()
endfunction()
