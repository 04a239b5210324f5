# What `cmake --install` puts where.
include(CMakePackageConfigHelpers)

set(ZorvikPBProto_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZorvikPBProto)

install(TARGETS ZorvikPBProto
  EXPORT ZorvikPBProtoTargets
  LIBRARY
    COMPONENT runtime
    NAMELINK_COMPONENT development)
install(FILES ${ZorvikPBProto_HEADERS}
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ZorvikPBProto
  COMPONENT development)
install(FILES ${ZorvikPBProto_VERSION_HEADER}
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ZorvikPBProto/zorvik
  COMPONENT development)
list(TRANSFORM ZorvikPBProto_SCHEMAS PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/proto/
  OUTPUT_VARIABLE ZorvikPBProto_SCHEMA_FILES)
install(FILES
    ${ZorvikPBProto_SCHEMA_FILES} ${ZorvikPBProto_DESCRIPTOR_SET}
    tools/nanopb/nanopb.options
  DESTINATION ${CMAKE_INSTALL_DATADIR}/ZorvikPBProto
  COMPONENT development)
# What it takes to build for the aircraft.
install(FILES cmake/cross-toolchain.cmake
  DESTINATION ${CMAKE_INSTALL_DATADIR}/ZorvikPBProto
  COMPONENT development)
install(PROGRAMS scripts/make-root
  DESTINATION ${CMAKE_INSTALL_DATADIR}/ZorvikPBProto/scripts
  COMPONENT development)
install(FILES scripts/lib/common.sh
  DESTINATION ${CMAKE_INSTALL_DATADIR}/ZorvikPBProto/scripts/lib
  COMPONENT development)
if(ZORVIKPBPROTO_BUILD_CATALOGUE)
  # The script for Wireshark reads the catalogue beside it.
  install(FILES
      ${ZorvikPBProto_CATALOGUE} tools/catalogue/catalogue.schema.json
      tools/wireshark/zorvik.lua
    DESTINATION ${CMAKE_INSTALL_DATADIR}/ZorvikPBProto
    COMPONENT development)
  # In the folder of the other headers, so that pkg-config needs no second file.
  install(FILES include/zorvik/topics.h ${ZorvikPBProto_PAIRINGS}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ZorvikPBProto/zorvik
    COMPONENT development)
  install(TARGETS ZorvikPBProto_Topics EXPORT ZorvikPBProtoTargets)
endif()

install(EXPORT ZorvikPBProtoTargets
  NAMESPACE ZorvikPBProto::
  DESTINATION ${ZorvikPBProto_INSTALL_CMAKEDIR}
  COMPONENT development)
configure_package_config_file(cmake/ZorvikPBProtoConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/ZorvikPBProtoConfig.cmake
  INSTALL_DESTINATION ${ZorvikPBProto_INSTALL_CMAKEDIR}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(
  ${CMAKE_CURRENT_BINARY_DIR}/ZorvikPBProtoConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/ZorvikPBProtoConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/ZorvikPBProtoConfigVersion.cmake
    cmake/ProtobufRequirement.cmake
  DESTINATION ${ZorvikPBProto_INSTALL_CMAKEDIR}
  COMPONENT development)

# Wherever the files are installed or moved to, they find each other.
file(RELATIVE_PATH ZorvikPBProto_PREFIX_FROM_PKGCONFIG
  /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" ZorvikPBProto_PREFIX_FROM_PKGCONFIG
  ${ZorvikPBProto_PREFIX_FROM_PKGCONFIG})
configure_file(cmake/ZorvikPBProto.pc.in ZorvikPBProto.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ZorvikPBProto.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
