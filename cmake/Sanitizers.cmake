# Sanitizer builds. The asan, tsan and fuzz presets set STEMSTRIP_SANITIZE to
# a -fsanitize list (the fuzz preset adds fuzzer-no-link: coverage for
# libFuzzer). Included after the core's directory: the shared library stays
# uninstrumented, because it links -nostdlib with --no-undefined (it cannot
# import a sanitizer runtime) and it must stay the artefact hosts load.
# Every target created from here on is instrumented, so tests that compile
# the stages themselves check an instrumented copy, and tests of the real
# library see its accesses through guard pages.
set(STEMSTRIP_SANITIZE "" CACHE STRING "-fsanitize list for everything but the core library")
if(STEMSTRIP_SANITIZE)
  add_compile_options(-fsanitize=${STEMSTRIP_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${STEMSTRIP_SANITIZE})
endif()

# The rtsan preset: RealtimeSanitizer's standalone runtime linked into the
# real-time tests only (tests/robustness).
option(STEMSTRIP_RTSAN "Build the real-time tests against RealtimeSanitizer (the rtsan preset)" OFF)
