# SPDX-License-Identifier: GPL-3.0-or-later
# The one place for compiler and linker flags: every target links `flags`.
add_library(flags INTERFACE)
target_include_directories(flags INTERFACE "${CMAKE_SOURCE_DIR}")
target_compile_options(flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Woverloaded-virtual -Wold-style-cast -Wcast-align -Wimplicit-fallthrough
  -Wformat=2 -Werror
  -fstack-protector-strong -fno-omit-frame-pointer)
target_compile_definitions(flags INTERFACE
  VAULTMERE_VERSION="${PROJECT_VERSION}" _FILE_OFFSET_BITS=64
  $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
target_link_options(flags INTERFACE -Wl,-z,relro,-z,now -Wl,--as-needed)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(flags INTERFACE -fstack-clash-protection -Wduplicated-cond -Wlogical-op)
endif()
if(VAULTMERE_SANITIZE)
  target_compile_options(flags INTERFACE -fsanitize=${VAULTMERE_SANITIZE} -fno-sanitize-recover=all)
  target_link_options(flags INTERFACE -fsanitize=${VAULTMERE_SANITIZE})
  if(VAULTMERE_SANITIZE STREQUAL "thread")
    # Asio's fences are more than the sanitizer follows; nothing of ours has any.
    target_compile_options(flags INTERFACE -Wno-tsan)
  endif()
else()
  target_compile_definitions(flags INTERFACE $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)
endif()
find_package(Threads REQUIRED)
target_link_libraries(flags INTERFACE Threads::Threads)
