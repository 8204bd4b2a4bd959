# What `cmake --install` lays down, so that another project can find_package(mpls):
#
#   include/mpls/<Room>/       headers, hand-written and generated, included from the root: "Vok/Ptr.h"
#   lib/                       one library a room, and mpls.pc for pkg-config
#   lib/cmake/mpls/            mplsConfig.cmake, its version and targets, and vok_compile()
#   share/mpls/vok/<Room>/     the type descriptions, for imports
#   bin/                       vokc and the programs
#
# Components: `library` is what a program needs to run (shared libraries only), `development` what it
# needs to be built, vokc included, and `tools` the programs.

include(CMakePackageConfigHelpers)

set(MPLS_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/mpls)
set(MPLS_INSTALL_VOKDIR ${CMAKE_INSTALL_DATADIR}/mpls/vok)
set(MPLS_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/mpls)

# mpls_installRoom(<room> <its .vok files>)
function(mpls_installRoom room vokFiles)
   install(TARGETS ${room} EXPORT mplsTargets
      ARCHIVE COMPONENT development
      LIBRARY COMPONENT library NAMELINK_COMPONENT development)
   file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
   get_target_property(generated ${room} VOK_HEADERS)
   if(NOT generated)
      set(generated)
   endif()
   install(FILES ${headers} ${generated}
      DESTINATION ${MPLS_INSTALL_INCLUDEDIR}/${room} COMPONENT development)
   if(vokFiles)
      install(FILES ${vokFiles} DESTINATION ${MPLS_INSTALL_VOKDIR}/${room} COMPONENT development)
   endif()
endfunction()

# The package itself; called once every room is declared.
function(mpls_installPackage)
   install(TARGETS vokc EXPORT mplsTargets RUNTIME COMPONENT development)
   install(EXPORT mplsTargets NAMESPACE mpls:: DESTINATION ${MPLS_INSTALL_CMAKEDIR} COMPONENT development)

   get_property(rooms GLOBAL PROPERTY MPLS_ROOMS)
   configure_package_config_file(cmake/mplsConfig.cmake.in ${PROJECT_BINARY_DIR}/mplsConfig.cmake
      INSTALL_DESTINATION ${MPLS_INSTALL_CMAKEDIR}
      PATH_VARS MPLS_INSTALL_VOKDIR)
   # Before 1.0 a minor version may change the interface.
   write_basic_package_version_file(${PROJECT_BINARY_DIR}/mplsConfigVersion.cmake
      COMPATIBILITY SameMinorVersion)
   install(FILES
      ${PROJECT_BINARY_DIR}/mplsConfig.cmake
      ${PROJECT_BINARY_DIR}/mplsConfigVersion.cmake
      ${PROJECT_SOURCE_DIR}/cmake/VokCompile.cmake
      DESTINATION ${MPLS_INSTALL_CMAKEDIR} COMPONENT development)

   # A linker reads static libraries left to right: who uses stands before what is used.
   list(REVERSE rooms)
   list(TRANSFORM rooms TOLOWER)
   list(TRANSFORM rooms PREPEND -lmpls-)
   list(JOIN rooms " " MPLS_LINK_FLAGS)
   # Relative to the file itself, so that an installed tree can be moved.
   file(RELATIVE_PATH MPLS_PREFIX_FROM_PC
      /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
   configure_file(cmake/mpls.pc.in ${PROJECT_BINARY_DIR}/mpls.pc @ONLY)
   install(FILES ${PROJECT_BINARY_DIR}/mpls.pc
      DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endfunction()
