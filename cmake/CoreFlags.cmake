# Flags of the core library, in one place.
#
# stemstrip_arith: everything that changes the numbers. The core and every
# test that calls its stages directly link it, so both compute the same bits.
# GCC fuses a*b+c by default; fusing is only ever done explicitly here.
add_library(stemstrip_arith INTERFACE)
target_compile_options(stemstrip_arith INTERFACE -ffp-contract=off -fno-fast-math)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|i.86")
  set(STEMSTRIP_MARCH "x86-64-v3" CACHE STRING "x86 target level (needs FMA)")
  target_compile_options(stemstrip_arith INTERFACE -march=${STEMSTRIP_MARCH})
endif()
# One lane everywhere instead of channels side by side in vectors: the same
# results from plain scalar code, for targets without vector units.
option(STEMSTRIP_SCALAR "Build the core without vector lanes" OFF)
if(STEMSTRIP_SCALAR)
  target_compile_definitions(stemstrip_arith INTERFACE STEMSTRIP_SCALAR)
endif()

# stemstrip_freestanding: what makes the shared library self-contained. No
# runtime library, no exceptions or RTTI, no stack protector (it would import
# __stack_chk_fail), and no loop-to-memset/memcpy rewrites (they would import
# libc; GCC needs its own flag, clang's -ffreestanding already stops them).
# --no-undefined turns any stray import into a link error.
add_library(stemstrip_freestanding INTERFACE)
target_compile_options(stemstrip_freestanding INTERFACE
  -ffreestanding -fno-exceptions -fno-rtti -fno-stack-protector -fno-stack-check
  $<$<CXX_COMPILER_ID:GNU>:-fno-tree-loop-distribute-patterns> -fno-builtin-memcpy -fno-builtin-memset
  -fvisibility=hidden -fvisibility-inlines-hidden -fno-plt -fno-semantic-interposition)
target_link_options(stemstrip_freestanding INTERFACE
  -nostdlib -Wl,--no-undefined -Wl,-z,relro -Wl,-z,now -Wl,--gc-sections -Wl,--hash-style=gnu)
