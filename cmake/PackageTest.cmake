# Installs a build into a fresh prefix, then builds and runs a project that knows nothing but that
# prefix. Run with cmake -P; `build`, `source`, `work`, `generator`, `compiler`, `flags`, `type` are given.

set(prefix ${work}/prefix)
file(REMOVE_RECURSE ${work})

function(step what)
   execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
   if(NOT result EQUAL 0)
      message(FATAL_ERROR "${what} ended with ${result}:\n${output}")
   endif()
   set(output "${output}" PARENT_SCOPE)
endfunction()

# The two components that building against the library takes; the programs are none of its business.
foreach(component IN ITEMS library development)
   step("installing ${component}" ${CMAKE_COMMAND} --install ${build} --prefix ${prefix} --component ${component})
endforeach()
step("configuring the consumer" ${CMAKE_COMMAND} -S ${source} -B ${work}/build -G ${generator}
   -D CMAKE_PREFIX_PATH=${prefix} -D CMAKE_CXX_COMPILER=${compiler} -D CMAKE_CXX_FLAGS=${flags}
   -D CMAKE_BUILD_TYPE=${type} -D CMAKE_FIND_USE_PACKAGE_REGISTRY=OFF)
step("building the consumer" ${CMAKE_COMMAND} --build ${work}/build)
step("the consumer" ${work}/build/consumer)
message(STATUS "${output}")

# The headers must not lead back into the tree that was built.
file(GLOB_RECURSE installed ${prefix}/lib*/cmake/*.cmake ${prefix}/lib*/pkgconfig/*.pc)
foreach(file IN LISTS installed)
   file(READ ${file} text)
   string(FIND "${text}" "${build}/gen" place)
   if(NOT place EQUAL -1)
      message(FATAL_ERROR "${file} names a folder of the build: ${build}/gen")
   endif()
endforeach()
