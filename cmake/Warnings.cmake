# Every target of the project builds with these, as errors, with g++ and clang++ alike.
add_compile_options(
  -Wall -Wextra -Wpedantic -Werror
  -Wconversion -Wsign-conversion -Wdouble-promotion -Wfloat-conversion
  -Wshadow -Wcast-qual -Wcast-align -Wformat=2 -Wundef -Wvla
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
  $<$<COMPILE_LANGUAGE:CXX>:-Wextra-semi>)

# clang checks that what a lock guards is touched under that lock only; the definition annotates Boost's locks.
add_compile_options($<$<COMPILE_LANG_AND_ID:CXX,Clang,AppleClang>:-Wthread-safety>)
add_compile_definitions($<$<COMPILE_LANG_AND_ID:CXX,Clang,AppleClang>:BOOST_THREAD_ENABLE_THREAD_SAFETY_ANALYSIS>)
