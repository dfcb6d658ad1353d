# Read by cpack: the files contain folder names, so they must have been built for /usr.
if(NOT CPACK_VOND_PREFIX STREQUAL "/usr")
    message(FATAL_ERROR
        "Debian packages need a build for /usr: cmake --preset package, or scripts/package")
endif()
