# A room is a folder, a namespace and a library target. mpls_room(Kinet SOURCES ... VOK ... USES Vok)
# declares one and what an installation takes of it; mpls_program(...) adds a program to <build>/bin and to the
# installation; mpls_test(...) adds a test program that CTest runs.

add_library(mpls_options INTERFACE)
target_compile_options(mpls_options INTERFACE -Wall -Wextra -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
   # GCC 12 sees an overlap in the inlined append of std::string that is not there (its bug 105651).
   target_compile_options(mpls_options INTERFACE -Wno-restrict)
endif()
target_include_directories(mpls_options INTERFACE
   $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/gen>)

# mpls_compileFast(<target>): for what runs so seldom that the compiler's time counts for more than its own.
function(mpls_compileFast target)
   target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O1>)
endfunction()

# mpls_precompile(<target> <headers>): what most of its files include is compiled once. With the option off each
# file shows whether it includes what it needs.
function(mpls_precompile target)
   if(MPLS_PRECOMPILE_HEADERS)
      target_precompile_headers(${target} PRIVATE ${ARGN})
   endif()
endfunction()

# mpls_room(<name> SOURCES <files> [VOK <files>] [USES <rooms>])
function(mpls_room name)
   cmake_parse_arguments(room "" "" "SOURCES;VOK;USES" ${ARGN})
   string(TOLOWER "mpls-${name}" output)
   add_library(${name} ${room_SOURCES})
   add_library(mpls::${name} ALIAS ${name})
   set_target_properties(${name} PROPERTIES
      OUTPUT_NAME ${output}
      VERSION ${PROJECT_VERSION}
      SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
   target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:mpls_options>)
   target_include_directories(${name} PUBLIC
      $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/gen>
      $<INSTALL_INTERFACE:${MPLS_INSTALL_INCLUDEDIR}>)
   target_compile_features(${name} PUBLIC cxx_std_20)
   foreach(use IN LISTS room_USES)
      target_link_libraries(${name} PUBLIC ${use})
   endforeach()
   if(room_VOK)
      vok_compile(${name} ROOT ${PROJECT_SOURCE_DIR} FILES ${room_VOK})
      # Half the time of a generated source goes into what all of them include.
      set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
   endif()
   mpls_installRoom(${name} "${room_VOK}")
   set_property(GLOBAL APPEND PROPERTY MPLS_ROOMS ${name})
endfunction()

# mpls_program(<name> SOURCES <files> [USES <targets>])
function(mpls_program name)
   cmake_parse_arguments(program "" "" "SOURCES;USES" ${ARGN})
   add_executable(${name} ${program_SOURCES})
   target_link_libraries(${name} PRIVATE mpls_options ${program_USES})
   set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
   install(TARGETS ${name} RUNTIME COMPONENT tools)
endfunction()

# mpls_test(<name> SOURCES <files> [VOK <files>] [USES <targets>])
function(mpls_test name)
   if(NOT MPLS_BUILD_TESTS)
      return()
   endif()
   cmake_parse_arguments(test "" "" "SOURCES;VOK;USES" ${ARGN})
   add_executable(${name} ${test_SOURCES})
   target_link_libraries(${name} PRIVATE mpls_options ${test_USES} GTest::gtest_main)
   mpls_compileFast(${name}) # a test runs once for each time it is compiled
   if(MPLS_GROUP_TESTS)
      set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
      # In a group the compiler takes the files of tests for headers, and their unnamed namespaces for a fault.
      target_compile_options(${name} PRIVATE -Wno-subobject-linkage)
   endif()
   if(test_VOK)
      vok_compile(${name} ROOT ${PROJECT_SOURCE_DIR} FILES ${test_VOK})
   endif()
   gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST)
endfunction()
