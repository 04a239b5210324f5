# Debian packages: cpack makes libzorvikpbproto2 and libzorvikpbproto-dev.
#
# Some of CPack's own ways do not work here: generated shlibs ignore components
# and add maintainer scripts, and the scan for dependencies leaves them out when
# crossing. So both are written down; the tests compare them with what
# dpkg-shlibdeps finds.
set(ZorvikPBProto_PACKAGE_FILES ${CMAKE_CURRENT_BINARY_DIR}/debian)
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE
  GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_PACKAGE_CONTACT "ZorvikPBProto maintainers <maintainers@zorvik.example>")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS OFF)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(ZorvikPBProto_SYSTEM_DEPENDS "libc6 (>= 2.14), libgcc-s1 (>= 3.0)")
if(CMAKE_LIBRARY_ARCHITECTURE STREQUAL "arm-linux-gnueabihf")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
  set(ZorvikPBProto_SYSTEM_DEPENDS "libc6 (>= 2.4), libgcc-s1 (>= 3.5)")
endif()

set(ZorvikPBProto_RUNTIME_PACKAGE libzorvikpbproto${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${ZorvikPBProto_RUNTIME_PACKAGE})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
  "message vocabulary of the Zorvik aircraft (library)
 The messages that an unmanned aircraft, its payload devices and the
 applications on the ground exchange, as classes of one shared library.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS
  "${ZorvikPBProto_SYSTEM_DEPENDS}, libprotobuf-lite32 (>= 3.21.12), libprotobuf32 (>= 3.21.12), libstdc++6 (>= 5)")
file(CONFIGURE OUTPUT ${ZorvikPBProto_PACKAGE_FILES}/shlibs
  CONTENT "libZorvikPBProto @PROJECT_VERSION_MAJOR@ @ZorvikPBProto_RUNTIME_PACKAGE@ (>= @PROJECT_VERSION@)\n"
  @ONLY)
file(WRITE ${ZorvikPBProto_PACKAGE_FILES}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  "${ZorvikPBProto_PACKAGE_FILES}/shlibs;${ZorvikPBProto_PACKAGE_FILES}/triggers")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzorvikpbproto-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "message vocabulary of the Zorvik aircraft (development files)
 The headers of the library, the schemas they are generated from, a descriptor
 set of the schemas, and what CMake and pkg-config need to find them.")
# protobuf-api-32-0 is the interface that the headers are generated for.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "${ZorvikPBProto_RUNTIME_PACKAGE} (= ${PROJECT_VERSION}), libprotobuf-dev (>= 3.21.12), protobuf-api-32-0")

file(COPY cmake/debian/changelog DESTINATION ${ZorvikPBProto_PACKAGE_FILES})
execute_process(
  COMMAND gzip --best --no-name --force ${ZorvikPBProto_PACKAGE_FILES}/changelog
  COMMAND_ERROR_IS_FATAL ANY)
function(zorvik_install_package_documents component package)
  install(FILES cmake/debian/copyright ${ZorvikPBProto_PACKAGE_FILES}/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
    COMPONENT ${component})
endfunction()
zorvik_install_package_documents(runtime ${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME})
zorvik_install_package_documents(development ${CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME})

include(CPack)
