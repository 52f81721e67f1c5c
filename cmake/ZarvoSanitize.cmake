# The instrumented variants of the build, set by the options ZARVO_SANITIZE,
# ZARVO_TARGET_CLONES and ZARVO_BUILD_FUZZERS. Everything is compiled the same way,
# so the sanitizers see the libraries and their callers alike.

# Functions with target_clones get a resolver that the dynamic loader runs while it
# relocates the library (IRELATIVE), before any sanitizer runtime is ready; an
# instrumented resolver crashes there. Instrumented builds turn the clones off.
if(NOT ZARVO_TARGET_CLONES)
  add_compile_definitions(ZARVO_NO_TARGET_CLONES)
endif()

if(ZARVO_SANITIZE)
  # One report ends the run: a test that goes on after it would hide it in its output.
  add_compile_options(-fsanitize=${ZARVO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ZARVO_SANITIZE})
endif()

if(ZARVO_BUILD_FUZZERS)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "ZARVO_BUILD_FUZZERS needs clang (configure with -DCMAKE_CXX_COMPILER=clang++)")
  endif()
  # Coverage feedback from the libraries too, not only from the harnesses; the
  # harnesses link libFuzzer's main themselves (fuzz/CMakeLists.txt).
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
