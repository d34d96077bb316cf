# Flags that every target of the project is built with. The presets of developers make errors of
# warnings (CMAKE_COMPILE_WARNING_AS_ERROR); a user with another compiler only sees them.
add_library(quillpost_options INTERFACE)
target_compile_options(quillpost_options INTERFACE -Wall -Wextra)
target_compile_definitions(quillpost_options INTERFACE
  # The log and the wire speak of bytes and paths, never of a host's locale or of deprecated names.
  BOOST_ALLOW_DEPRECATED_HEADERS
  BOOST_BIND_GLOBAL_PLACEHOLDERS)

set(QUILLPOST_SANITIZE "" CACHE STRING "Value of -fsanitize=, for instance address,undefined or thread")
if(QUILLPOST_SANITIZE)
  add_compile_options(-fsanitize=${QUILLPOST_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${QUILLPOST_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Among the sanitizer's own code GCC takes the text of an empty std::optional for one that is
    # read. The sanitizers and the other presets look for the real thing.
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-maybe-uninitialized>)
    if(QUILLPOST_SANITIZE MATCHES "undefined")
      # The check of an object's type opens a pipe to look whether its memory can be read, and takes
      # a process without free descriptors for an object of the wrong type. Tests make such processes.
      add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fno-sanitize=vptr>)
    endif()
  endif()
  if(QUILLPOST_SANITIZE STREQUAL "thread")
    # The thread sanitizer does not know free-standing fences. Asio's stand beside a mutex that
    # orders the same accesses, so nothing is lost to it without them.
    add_compile_definitions(BOOST_ASIO_DISABLE_FENCED_BLOCK)
  endif()
endif()

option(QUILLPOST_FUZZ "Build the fuzz targets; needs clang and the preset asan" OFF)
if(QUILLPOST_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
