# Installs the build into a scratch prefix, then builds the consumer program against it twice: through
# find_package, and through pkg-config. Both programs must run and succeed.
set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE failed OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(failed)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/cmake-build -G Ninja -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run(${WORK_DIR}/cmake-build/consumer)
message(STATUS "find_package: ${last_output}")

file(GLOB_RECURSE pcfile ${prefix}/*/zspgen.pc)
get_filename_component(pcdir "${pcfile}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pcdir})
run(pkg-config --cflags --libs zspgen)
string(STRIP "${last_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(cc ${CONSUMER_DIR}/main.c ${flags} -o ${WORK_DIR}/consumer-pc)
run(pkg-config --variable=libdir zspgen)
string(STRIP "${last_output}" libdir)
set(ENV{LD_LIBRARY_PATH} ${libdir})
run(${WORK_DIR}/consumer-pc)
message(STATUS "pkg-config: ${last_output}")
