# Installs the build into a scratch prefix and builds the consumer programs (C89 and C++17) against it
# twice, as the README says: through find_package(zspgen 8), and through pkg-config with the run path
# line. All four programs must run and succeed, and so must the Python module when PYTHON is given.
# Then the uninstall step must leave no file behind.
# The build tree's own install manifest (of a real installation) is kept as it was.
set(prefix ${WORK_DIR}/prefix)
set(manifest ${BUILD_DIR}/install_manifest.txt)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
if(EXISTS ${manifest})
  file(RENAME ${manifest} ${WORK_DIR}/saved_manifest.txt)
endif()

function(restore_manifest)
  file(REMOVE ${manifest})
  if(EXISTS ${WORK_DIR}/saved_manifest.txt)
    file(RENAME ${WORK_DIR}/saved_manifest.txt ${manifest})
  endif()
endfunction()

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE failed OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(failed)
    restore_manifest()
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
file(RENAME ${manifest} ${WORK_DIR}/scratch_manifest.txt)
restore_manifest()

run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/cmake-build -G Ninja -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_CXX_COMPILER=${CXX_COMPILER} "-DCMAKE_C_FLAGS=${FLAGS}"
    "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
foreach(program consumer_c89 consumer_cxx17)
  run(${WORK_DIR}/cmake-build/${program})
  message(STATUS "find_package, ${program}:\n${last_output}")
endforeach()

file(GLOB_RECURSE pcfile ${prefix}/*/zspgen.pc)
get_filename_component(pcdir "${pcfile}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pcdir})
run(pkg-config --cflags --libs zspgen)
string(STRIP "${last_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(pkg-config --variable=libdir zspgen)
string(STRIP "${last_output}" libdir)
set(strict -Wall -Wextra -pedantic-errors -Werror)
separate_arguments(instrument UNIX_COMMAND "${LINK_FLAGS}")
run(${C_COMPILER} -std=c89 ${strict} ${instrument} ${CONSUMER_DIR}/main.c ${flags} -Wl,-rpath,${libdir} -o ${WORK_DIR}/c89-pc)
run(${CXX_COMPILER} -std=c++17 ${strict} ${instrument} -pthread ${CONSUMER_DIR}/main.cpp ${flags} -Wl,-rpath,${libdir}
    -o ${WORK_DIR}/cxx17-pc)
unset(ENV{LD_LIBRARY_PATH})
foreach(program c89-pc cxx17-pc)
  run(${WORK_DIR}/${program})
  message(STATUS "pkg-config, ${program}:\n${last_output}")
endforeach()

# The Python module, when it is built: from the installation alone, with the library beside it.
if(PYTHON)
  run(${CMAKE_COMMAND} -E env PYTHONPATH=${prefix}/${PYTHON_INSTALL_DIR} PYTHONDONTWRITEBYTECODE=1
      ${PYTHON} ${SOURCE_DIR}/tests/python/check_installed.py ${prefix})
  message(STATUS "Python module:\n${last_output}")
endif()

run(${CMAKE_COMMAND} -DMANIFEST=${WORK_DIR}/scratch_manifest.txt -P ${SOURCE_DIR}/cmake/uninstall.cmake)
file(GLOB_RECURSE left LIST_DIRECTORIES false ${prefix}/*)
if(left)
  message(FATAL_ERROR "uninstall left files behind: ${left}")
endif()
