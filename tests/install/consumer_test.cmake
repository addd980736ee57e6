# Installs the built library into a fresh prefix, then configures, builds and runs a
# consumer project against it through find_package, and checks the pkg-config file.
if(NOT KEEP)
  file(REMOVE_RECURSE ${WORK_DIR})
endif()
set(PREFIX ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  set(LAST_OUTPUT "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX})
foreach(f include/klmfc/klmfc.h lib/libklmfc.so lib/pkgconfig/klmfc.pc lib/cmake/klmfc/klmfcConfig.cmake)
  if(NOT EXISTS ${PREFIX}/${f})
    message(FATAL_ERROR "not installed: ${f}")
  endif()
endforeach()

run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/install/consumer -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${PREFIX} -DCMAKE_BUILD_TYPE=Release "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer)
if(NOT LAST_OUTPUT STREQUAL "Reference CPU 0.5 3.5\n")
  message(FATAL_ERROR "unexpected consumer output: '${LAST_OUTPUT}'")
endif()

# The pkg-config file is relocatable: it finds the prefix from its own place.
find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  set(ENV{PKG_CONFIG_PATH} ${PREFIX}/lib/pkgconfig)
  run(${PKG_CONFIG} --libs klmfc)
  if(NOT LAST_OUTPUT MATCHES "-L${PREFIX}/lib/pkgconfig/../../lib .*-lklmfc")
    message(FATAL_ERROR "unexpected pkg-config answer: '${LAST_OUTPUT}'")
  endif()
endif()
if(NOT KEEP)
  file(REMOVE_RECURSE ${WORK_DIR})
endif()
