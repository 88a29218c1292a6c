# Installs the build tree into a scratch prefix, builds the consumer project
# against it, and runs the consumer.
#   cmake -DBUILD_DIR=... -DWORK_DIR=... -DSOURCE_DIR=... -DCXX_COMPILER=...
#         -DCXX_FLAGS=... -DLINK_FLAGS=... -DBUILD_TYPE=... -P run_consumer.cmake
foreach(var BUILD_DIR WORK_DIR SOURCE_DIR)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "${var} is not set")
  endif()
endforeach()

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result
                  OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "Failed (${result}): ${ARGN}\n${output}")
  endif()
  set(last_output "${output}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK_DIR}/prefix)
set(consumer_build ${WORK_DIR}/consumer-build)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
# The simulator, the tools and the bundled examples come along.
foreach(installed bin/kivo bin/config/defaultConfig.lua bin/kivo-studio bin/kivo-monitor
                  share/kivoClientLib/examples/heat1d.lua)
  if(NOT EXISTS ${prefix}/${installed})
    message(FATAL_ERROR "Not installed: ${installed}")
  endif()
endforeach()

# Only the install prefix may be searched for the package: a stale package
# registry entry or the build tree must not satisfy it.
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${consumer_build}
    -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
    -DCMAKE_BUILD_TYPE=${BUILD_TYPE}
    -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
    "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    "-DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS}")
run(${CMAKE_COMMAND} --build ${consumer_build})

# The consumer finds the installed libraries through its RPATH or the
# installed libraries' own; no LD_LIBRARY_PATH.
run(${consumer_build}/kivo-consumer)
message("${last_output}")
string(FIND "${last_output}" "kivoClientLib" found)
if(found EQUAL -1)
  message(FATAL_ERROR "The consumer printed no release record")
endif()

# The installed tools run from the prefix alone: kivo-studio finds the
# simulator beside it, the simulator its config/, and the default model is
# the installed example.
run(${prefix}/bin/kivo-monitor --help)
set(studio_dir ${WORK_DIR}/studio)
file(MAKE_DIRECTORY ${studio_dir})
run(${CMAKE_COMMAND} -E env XDG_CONFIG_HOME=${studio_dir}/config
    ${prefix}/bin/kivo-studio --headless --timeout 120
    --screenshot ${studio_dir}/shot.png --summary ${studio_dir}/summary.txt)
file(READ ${studio_dir}/summary.txt summary)
foreach(line "model: ${prefix}/share/kivoClientLib/examples/heat1d.lua" "status: Finished")
  string(FIND "${summary}" "${line}\n" found)
  if(found EQUAL -1)
    message(FATAL_ERROR "The installed kivo-studio's summary lacks \"${line}\":\n${summary}")
  endif()
endforeach()
