# vok_compile(<target> [ROOT <dir>] FILES <file.vok>...)
#
# Compiles type descriptions to C++ and adds the result to the target. A file <root>/Room/File.vok
# that declares units A and B yields Room/A.h, Room/A.gen.cpp, Room/B.h and Room/B.gen.cpp under
# <build>/gen, which stands on the target's include path. Imports are tracked: touching one
# recompiles what depends on it.
#
# The same file serves this tree and projects that find_package(mpls): both have a compiler named
# mpls::vokc, and MPLS_VOK_ROOTS lists the folders that imports are looked up in besides ROOT.
# The headers it generates are appended to the target's property VOK_HEADERS.

# The units that a description declares, one line `unit Name;` each.
function(vok_units file result)
   file(STRINGS ${file} lines REGEX "^unit [A-Za-z0-9_]+;")
   list(TRANSFORM lines REPLACE "^unit ([A-Za-z0-9_]+);.*" "\\1")
   list(REMOVE_DUPLICATES lines)
   set(${result} ${lines} PARENT_SCOPE)
endfunction()

function(vok_compile target)
   cmake_parse_arguments(vok "" "ROOT" "FILES" ${ARGN})
   if(NOT vok_FILES)
      message(FATAL_ERROR "vok_compile(${target}): name the descriptions after FILES")
   endif()
   if(NOT vok_ROOT)
      set(vok_ROOT ${CMAKE_CURRENT_SOURCE_DIR})
   endif()
   set(gen ${PROJECT_BINARY_DIR}/gen)
   set(roots)
   foreach(root IN LISTS vok_ROOT MPLS_VOK_ROOTS)
      list(APPEND roots -I ${root})
   endforeach()
   foreach(file IN LISTS vok_FILES)
      get_filename_component(path ${file} ABSOLUTE)
      file(RELATIVE_PATH relative ${vok_ROOT} ${path})
      get_filename_component(room ${relative} DIRECTORY)
      # A new unit is a new output, which only a new configuration can know of.
      set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${path})
      vok_units(${path} units)
      if(NOT units) # names hand-written types only: there is nothing to generate
         continue()
      endif()
      cmake_path(APPEND gen ${room} OUTPUT_VARIABLE folder)
      set(headers)
      set(sources)
      foreach(unit IN LISTS units)
         list(APPEND headers ${folder}/${unit}.h)
         list(APPEND sources ${folder}/${unit}.gen.cpp)
      endforeach()
      add_custom_command(
         OUTPUT ${headers} ${sources}
         COMMAND mpls::vokc ${roots} -o ${gen} --depfile ${gen}/${relative}.d ${relative}
         WORKING_DIRECTORY ${vok_ROOT}
         DEPENDS ${path} mpls::vokc
         DEPFILE ${gen}/${relative}.d
         COMMENT "vokc ${relative}"
         VERBATIM)
      target_sources(${target} PRIVATE ${headers} ${sources})
      # Groups for a target that compiles several sources as one (UNITY_BUILD_MODE GROUP).
      foreach(source IN LISTS sources)
         get_property(before TARGET ${target} PROPERTY VOK_SOURCES)
         list(LENGTH before number)
         math(EXPR group "${number} / 5")
         set_source_files_properties(${source} PROPERTIES UNITY_GROUP generated${group})
         set_property(TARGET ${target} APPEND PROPERTY VOK_SOURCES ${source})
      endforeach()
      set_property(TARGET ${target} APPEND PROPERTY VOK_HEADERS ${headers})
   endforeach()
   target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${gen}>)
endfunction()
