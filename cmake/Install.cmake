# What `cmake --install` puts where.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ZorvikPBProto)

install(TARGETS ZorvikPBProto
  EXPORT ZorvikPBProtoTargets
  LIBRARY
    COMPONENT runtime
    NAMELINK_COMPONENT development)
install(FILES ${headers}
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ZorvikPBProto
  COMPONENT development)
list(TRANSFORM schemas PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/proto/ OUTPUT_VARIABLE schema_paths)
install(FILES ${schema_paths} ${descriptor_set}
  DESTINATION ${CMAKE_INSTALL_DATADIR}/ZorvikPBProto
  COMPONENT development)
if(ZORVIKPBPROTO_BUILD_CATALOGUE)
  # The script for Wireshark reads the catalogue beside it.
  install(FILES
      ${catalogue} tools/catalogue/catalogue.schema.json tools/wireshark/zorvik.lua
    DESTINATION ${CMAKE_INSTALL_DATADIR}/ZorvikPBProto
    COMPONENT development)
endif()

install(EXPORT ZorvikPBProtoTargets
  NAMESPACE ZorvikPBProto::
  DESTINATION ${package_dir}
  COMPONENT development)
configure_package_config_file(cmake/ZorvikPBProtoConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/ZorvikPBProtoConfig.cmake
  INSTALL_DESTINATION ${package_dir}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(
  ${CMAKE_CURRENT_BINARY_DIR}/ZorvikPBProtoConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/ZorvikPBProtoConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/ZorvikPBProtoConfigVersion.cmake
    cmake/ProtobufRequirement.cmake
  DESTINATION ${package_dir}
  COMPONENT development)

configure_file(cmake/ZorvikPBProto.pc.in ZorvikPBProto.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ZorvikPBProto.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
