# Sanitizers and coverage. One that is asked for and cannot be had is an error, not a plain build.
include(CheckCXXSourceCompiles)

set(DOWNLOADMANAGER_SANITIZE "" CACHE STRING "Sanitizers to build with, as in -fsanitize=")
option(DOWNLOADMANAGER_COVERAGE "Build with coverage counters" OFF)

if(DOWNLOADMANAGER_SANITIZE)
  set(CMAKE_REQUIRED_FLAGS "-fsanitize=${DOWNLOADMANAGER_SANITIZE}")
  set(CMAKE_REQUIRED_LINK_OPTIONS "-fsanitize=${DOWNLOADMANAGER_SANITIZE}")
  check_cxx_source_compiles("int main() { return 0; }" SANITIZER_WORKS)
  unset(CMAKE_REQUIRED_FLAGS)
  unset(CMAKE_REQUIRED_LINK_OPTIONS)
  if(NOT SANITIZER_WORKS)
    message(FATAL_ERROR "This compiler cannot build with -fsanitize=${DOWNLOADMANAGER_SANITIZE}")
  endif()
  # What they report has lines, and no variables, which take a third of the build.
  add_compile_options("-fsanitize=${DOWNLOADMANAGER_SANITIZE}" -fno-sanitize-recover=all -fno-omit-frame-pointer -O1 -g1)
  add_link_options("-fsanitize=${DOWNLOADMANAGER_SANITIZE}")
endif()

# The address sanitizer misreads the thread-local storage of a library that was opened at run time, depending on
# where it lies in about one process of 256, and then crashes at the exit.
set(sanitizedTestProperties "")
if(DOWNLOADMANAGER_SANITIZE MATCHES address)
  set(sanitizedTestProperties ENVIRONMENT ASAN_OPTIONS=intercept_tls_get_addr=0)
endif()

# Everything takes twenty times as long under valgrind.
option(DOWNLOADMANAGER_VALGRIND "Have the tests run under valgrind" OFF)
if(DOWNLOADMANAGER_VALGRIND)
  set(sanitizedTestProperties TIMEOUT 1200)
endif()

if(DOWNLOADMANAGER_COVERAGE)
  # Atomic, since the engine's threads count at the same time.
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
