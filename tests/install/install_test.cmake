# Installs the built library into a scratch prefix, builds the consumer project against the
# installed package, and runs it on the shipped structures: it must find the acid dimer of
# ibuprofen. Run by CTest with -DBUILD=... -DSOURCE=... -DWORK=...
file(REMOVE_RECURSE ${WORK})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix
                RESULT_VARIABLE failed OUTPUT_QUIET)
if(failed)
  message(FATAL_ERROR "cmake --install failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE}/tests/install/consumer -B ${WORK}/build
                        -DCMAKE_PREFIX_PATH=${WORK}/prefix -DCMAKE_BUILD_TYPE=Release
                        "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${FLAGS}"
                RESULT_VARIABLE failed)
if(NOT failed)
  execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK}/build RESULT_VARIABLE failed)
endif()
if(failed)
  message(FATAL_ERROR "the consumer project does not build against the installed package")
endif()
execute_process(COMMAND ${WORK}/build/consumer ${SOURCE}/data/queries/carboxylic_acid_dimer.con
                        ${SOURCE}/data/structures
                OUTPUT_VARIABLE hits RESULT_VARIABLE failed)
message("${hits}")
if(failed OR NOT hits MATCHES "4022630 [1-9]")
  message(FATAL_ERROR "the consumer did not find the acid dimer of 4022630")
endif()
# Only the public headers are installed.
if(EXISTS ${WORK}/prefix/include/xtalmotif/core/checked_index.h)
  message(FATAL_ERROR "an internal header was installed")
endif()
file(REMOVE_RECURSE ${WORK})
