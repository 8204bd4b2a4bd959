# vok_compile(<target> [ROOT <dir>] FILES <file.vok>...)
#
# Compiles type descriptions to C++ and adds the result to the target. A file <root>/Room/File.vok
# that declares units A and B yields Room/A.h, Room/A.gen.cpp, Room/B.h and Room/B.gen.cpp under
# <build>/gen, which stands on the target's include path. Imports are tracked: touching one
# recompiles what depends on it.
function(vok_compile target)
   cmake_parse_arguments(vok "" "ROOT" "FILES" ${ARGN})
   if(NOT vok_ROOT)
      set(vok_ROOT ${CMAKE_CURRENT_SOURCE_DIR})
   endif()
   set(gen ${PROJECT_BINARY_DIR}/gen)
   foreach(file IN LISTS vok_FILES)
      get_filename_component(path ${file} ABSOLUTE)
      file(RELATIVE_PATH relative ${vok_ROOT} ${path})
      get_filename_component(room ${relative} DIRECTORY)
      file(STRINGS ${path} units REGEX "^unit [A-Za-z0-9_]+;")
      set(outputs)
      set(sources)
      foreach(line IN LISTS units)
         string(REGEX REPLACE "^unit ([A-Za-z0-9_]+);.*" "\\1" unit "${line}")
         list(APPEND outputs ${gen}/${room}/${unit}.h ${gen}/${room}/${unit}.gen.cpp)
         list(APPEND sources ${gen}/${room}/${unit}.gen.cpp)
      endforeach()
      list(REMOVE_DUPLICATES outputs)
      list(REMOVE_DUPLICATES sources)
      add_custom_command(
         OUTPUT ${outputs}
         COMMAND vokc -I ${vok_ROOT} ${MPLS_VOK_INCLUDES} -o ${gen} --depfile ${gen}/${relative}.d ${relative}
         WORKING_DIRECTORY ${vok_ROOT}
         DEPENDS ${path} vokc
         DEPFILE ${gen}/${relative}.d
         COMMENT "vokc ${relative}"
         VERBATIM)
      target_sources(${target} PRIVATE ${sources} ${outputs})
   endforeach()
   target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${gen}>)
endfunction()
