# Builds the host project in host/ against the library twice: embedded with add_subdirectory,
# then installed from that build and found with find_package. Fails on any configure, build,
# install or run error. Variables: ORVANE_SOURCE (the library's source tree), WORK (a scratch
# folder), CXX (the compiler), and TOOL_BUILD (optional: a build tree with the orvane tool,
# which is then installed, moved and run).
foreach(var ORVANE_SOURCE WORK CXX)
  if(NOT ${var})
    message(FATAL_ERROR "run_consumer.cmake: ${var} is not set")
  endif()
endforeach()
set(host ${CMAKE_CURRENT_LIST_DIR}/host)
file(REMOVE_RECURSE ${WORK})

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${what} failed (${status}):\n${out}")
  endif()
  message(STATUS "${what}: ok")
endfunction()

# The library's own tests, benchmarks and tool stay out: a host gets the library only.
run("configure (add_subdirectory)" ${CMAKE_COMMAND} -S ${host} -B ${WORK}/embedded
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_BUILD_TYPE=Release -DORVANE_SOURCE=${ORVANE_SOURCE})
run("build (add_subdirectory)" ${CMAKE_COMMAND} --build ${WORK}/embedded -j 2)
run("run (add_subdirectory)" ${WORK}/embedded/host)
if(EXISTS ${WORK}/embedded/orvane/tests OR EXISTS ${WORK}/embedded/orvane/bench)
  message(FATAL_ERROR "the embedded library built its tests or benchmarks")
endif()

run("install" ${CMAKE_COMMAND} --install ${WORK}/embedded --prefix ${WORK}/prefix)
run("configure (find_package)" ${CMAKE_COMMAND} -S ${host} -B ${WORK}/installed
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH=${WORK}/prefix)
run("build (find_package)" ${CMAKE_COMMAND} --build ${WORK}/installed)
run("run (find_package)" ${WORK}/installed/host)

if(TOOL_BUILD)
  # Installed, then moved: the tool finds the library through its relative RUNPATH, with no
  # help from the environment.
  run("install (tool)" ${CMAKE_COMMAND} --install ${TOOL_BUILD} --prefix ${WORK}/tool-prefix)
  file(RENAME ${WORK}/tool-prefix ${WORK}/moved)
  file(MAKE_DIRECTORY ${WORK}/elsewhere)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH ${WORK}/moved/bin/orvane --version
                  WORKING_DIRECTORY ${WORK}/elsewhere RESULT_VARIABLE status OUTPUT_VARIABLE version ERROR_VARIABLE error)
  if(NOT status EQUAL 0 OR NOT version MATCHES "^orvane [0-9]+\\.[0-9]+\\.[0-9]+")
    message(FATAL_ERROR "the installed tool does not start (${status}): ${version}${error}")
  endif()
  run("run (installed tool)" ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH ${WORK}/moved/bin/orvane --quiet
      slice -n 4 -o ${WORK}/elsewhere/layers.json)
  file(READ ${WORK}/elsewhere/layers.json layers)
  if(NOT layers MATCHES "\"layer_count\":4")
    message(FATAL_ERROR "the installed tool wrote no layers: ${layers}")
  endif()
endif()
file(REMOVE_RECURSE ${WORK})
