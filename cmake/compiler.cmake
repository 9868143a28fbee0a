# What differs between the two compilers the project builds with, gcc and clang, and the instrumented
# builds of scripts/harden.sh.
#
# ZSPGEN_SANITIZE names the sanitizers as -fsanitize takes them ("address,undefined", "thread"); every
# target of the project is then compiled and linked with them, stopping at the first report.
# ZSPGEN_FUZZ (clang only) builds the fuzz targets of tests/fuzz; the library is then compiled with the
# coverage instrumentation that libFuzzer steers by.
set(ZSPGEN_SANITIZE "" CACHE STRING "Sanitizers for every target, as -fsanitize takes them; empty for none")
option(ZSPGEN_FUZZ "Build the libFuzzer targets (clang)" OFF)

set(ZSPGEN_IS_GCC $<CXX_COMPILER_ID:GNU>)
set(ZSPGEN_INSTRUMENT_FLAGS)
if(ZSPGEN_SANITIZE)
  list(APPEND ZSPGEN_INSTRUMENT_FLAGS -fsanitize=${ZSPGEN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
endif()
if(ZSPGEN_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "ZSPGEN_FUZZ needs clang (libFuzzer): configure with CMAKE_CXX_COMPILER=clang++")
  endif()
  list(APPEND ZSPGEN_INSTRUMENT_FLAGS -fsanitize=fuzzer-no-link)
endif()
set(ZSPGEN_INSTRUMENTED OFF)
if(ZSPGEN_INSTRUMENT_FLAGS)
  set(ZSPGEN_INSTRUMENTED ON)
  add_compile_options(${ZSPGEN_INSTRUMENT_FLAGS} -g1)
  add_compile_definitions(ZSPGEN_INSTRUMENTED)
  # clang links the C++ part of the sanitizer runtimes only into programs it links as C++; the demo and
  # the C consumer are C programs that load instrumented C++.
  set(ZSPGEN_INSTRUMENT_LINK_FLAGS ${ZSPGEN_INSTRUMENT_FLAGS})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    list(APPEND ZSPGEN_INSTRUMENT_LINK_FLAGS -fsanitize-link-c++-runtime -lstdc++)
  endif()
  add_link_options(${ZSPGEN_INSTRUMENT_LINK_FLAGS})
endif()

# The code generators and the support library they share run once per build, on one thread, over fixed
# recipes. Instrumented, they stand in front of every kernel's compilation: in the ThreadSanitizer
# build realgen ran 68 s and dftgen 32 s, against 3 and 2 plain. One instrumented build is enough to
# check them (scripts/harden.sh keeps them instrumented in the clang one); with
# ZSPGEN_INSTRUMENT_GENERATORS off, the others build them plain. What they write is the same either way.
option(ZSPGEN_INSTRUMENT_GENERATORS "Instrument the code generators as well" ON)
function(zspgen_generator target)
  if(ZSPGEN_INSTRUMENTED AND NOT ZSPGEN_INSTRUMENT_GENERATORS)
    foreach(property COMPILE_OPTIONS LINK_OPTIONS)
      get_target_property(options ${target} ${property})
      if(options)
        list(REMOVE_ITEM options ${ZSPGEN_INSTRUMENT_FLAGS} ${ZSPGEN_INSTRUMENT_LINK_FLAGS})
        set_property(TARGET ${target} PROPERTY ${property} "${options}")
      endif()
    endforeach()
  endif()
endfunction()

# Under ThreadSanitizer the generated DFT and real kernels are compiled without it: each reads only its
# source and writes only its destination, arrays that a caller hands to one call at a time, so their
# accesses could show no race the instrumented callers would not; instrumented, they alone took three
# quarters of an hour to compile on 2 cores. What threads share (allocation, the DCT-IV states, the
# Walsh-Hadamard work buffers) is hand-written and instrumented.
set(ZSPGEN_GENERATED_KERNEL_FLAGS)
if(ZSPGEN_SANITIZE STREQUAL "thread")
  set(ZSPGEN_GENERATED_KERNEL_FLAGS -fno-sanitize=thread)
endif()
# In every instrumented build the generated kernels are optimized at -O1, as the sanitizers' own
# advice has it: the checks see every load and store all the same, the bits are the same (no
# contraction, no reassociation at any level), and gcc compiles the kernels, most of the compile time
# of a build, in 0.6 of the time they take at -O2 (clang in 0.95: its time goes elsewhere).
if(ZSPGEN_INSTRUMENTED)
  list(APPEND ZSPGEN_GENERATED_KERNEL_FLAGS -O1)
endif()

# clang links a shared library against its sanitizer runtime only through the executable that loads
# it, so the library's own link cannot insist that every symbol be resolved.
set(ZSPGEN_NO_UNDEFINED $<$<NOT:$<AND:$<CXX_COMPILER_ID:Clang>,$<BOOL:${ZSPGEN_INSTRUMENTED}>>>:-Wl,--no-undefined>)

# clang finds the quad-precision math header of gcc's installation only when shown the way; the
# generators and the tests' references need it. Only that header (and the one it includes) is made
# visible, not gcc's other headers, which would shadow clang's own intrinsics.
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  include(CheckIncludeFileCXX)
  check_include_file_cxx(quadmath.h ZSPGEN_HAS_QUADMATH_HEADER)
  if(NOT ZSPGEN_HAS_QUADMATH_HEADER)
    execute_process(COMMAND gcc -print-file-name=include OUTPUT_VARIABLE gcc_include OUTPUT_STRIP_TRAILING_WHITESPACE)
    set(quad_dir ${CMAKE_BINARY_DIR}/quadmath-include)
    foreach(header quadmath.h quadmath_weak.h)
      if(NOT EXISTS ${gcc_include}/${header})
        message(FATAL_ERROR "quadmath.h: not found in gcc's ${gcc_include}; install gcc's libquadmath headers")
      endif()
      file(COPY ${gcc_include}/${header} DESTINATION ${quad_dir})
    endforeach()
    include_directories(SYSTEM ${quad_dir})
  endif()
endif()
