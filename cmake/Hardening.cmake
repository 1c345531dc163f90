# How everything is compiled: C++20, warnings as errors, position-independent, hardened, optionally with a
# sanitizer. NIMBOLSP_SANITIZE is empty, "address" (with undefined) or "thread"; the presets set it.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(NIMBOLSP_SANITIZE "" CACHE STRING "Sanitizer: empty, address or thread")

include(CheckPIESupported)
check_pie_supported()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
                    -Wold-style-cast -Wcast-align -Wformat=2 -Werror -fstack-protector-strong)
add_link_options(-Wl,-z,relro,-z,now -Wl,-z,noexecstack)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  add_compile_options(-Wthread-safety -Wthread-safety-beta)
endif()

if(NIMBOLSP_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(NIMBOLSP_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
else()
  # Fortified calls hide errors from the sanitizers, so they belong to the plain build alone.
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
