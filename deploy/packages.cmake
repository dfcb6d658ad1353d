# cpack -G DEB: the packages vond-server and vond-sample-tool.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vond)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGE_VENDOR meridane)
set(CPACK_PACKAGE_CONTACT "vondServer maintainers <vondserver@meridane.example>")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PROJECT_CONFIG_FILE "${CMAKE_CURRENT_SOURCE_DIR}/refuseprefix.cmake")
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_SET_DESTDIR ON) # parts of it go to /etc
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_VOND_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL server)
if(TARGET vond-sample)
    list(APPEND CPACK_COMPONENTS_ALL sample)
endif()

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_SERVER_PACKAGE_NAME vond-server)
set(CPACK_DEBIAN_SERVER_PACKAGE_SECTION net)
set(CPACK_DEBIAN_SERVER_PACKAGE_DEPENDS
    "shared-mime-info, systemd | systemd-standalone-sysusers, systemd | systemd-standalone-tmpfiles")
set(CPACK_DEBIAN_SERVER_PACKAGE_RECOMMENDS "logrotate, vond-sample-tool")
set(CPACK_DEBIAN_SERVER_PACKAGE_SUGGESTS "nginx, apache2-utils, mtail, prometheus, prometheus-process-exporter")
set(CPACK_COMPONENT_SERVER_DESCRIPTION
"JSON web interface to a colour-conversion tool
vondServer puts the command-line tool vond behind HTTP: clients upload
pictures, have them converted, follow the progress, cancel, and fetch the
results.

It runs as a sandboxed systemd service on the loopback interface and is
meant to stand behind a proxy.")
set(CPACK_DEBIAN_SERVER_PACKAGE_CONTROL_EXTRA
    "${CMAKE_CURRENT_SOURCE_DIR}/debian/conffiles"
    "${CMAKE_CURRENT_SOURCE_DIR}/debian/postinst"
    "${CMAKE_CURRENT_SOURCE_DIR}/debian/prerm"
    "${CMAKE_CURRENT_SOURCE_DIR}/debian/postrm")

set(CPACK_DEBIAN_SAMPLE_PACKAGE_NAME vond-sample-tool)
set(CPACK_DEBIAN_SAMPLE_PACKAGE_SECTION graphics)
set(CPACK_COMPONENT_SAMPLE_DESCRIPTION
"small colour-conversion tool to try vond-server with
vond-sample speaks the command line that vondServer uses and converts TIFF,
JPEG and PNG pictures between sRGB, Display P3 and a press CMYK.

It stands in for the real tool where that is not installed.")
