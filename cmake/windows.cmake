# Toolchain for 64-bit Windows, with Debian's MinGW and the Qt that deploy/windows/build made (the set
# windows of scripts/install-dependencies).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

if(DEFINED ENV{VOND_QT_WINDOWS})
    set(qt "$ENV{VOND_QT_WINDOWS}")
elseif(DEFINED ENV{XDG_CACHE_HOME})
    set(qt "$ENV{XDG_CACHE_HOME}/vondserver/qt-windows/current")
else()
    set(qt "$ENV{HOME}/.cache/vondserver/qt-windows/current")
endif()
file(REAL_PATH "${qt}" qt)
if(NOT EXISTS "${qt}/versions.txt")
    message(FATAL_ERROR "There is no Qt for Windows in ${qt}; deploy/windows/build --qt makes one.")
endif()
set(VOND_QT_WINDOWS "${qt}" CACHE INTERNAL "Qt for Windows")

set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 "${qt}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_PREFIX_PATH "${qt}")

# Headers only, so the machine's own Boost serves; by a folder that shows nothing else of /usr/include.
file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/boost-alone")
file(CREATE_LINK /usr/include/boost "${CMAKE_BINARY_DIR}/boost-alone/boost" SYMBOLIC)
set(Boost_NO_BOOST_CMAKE ON)
set(Boost_INCLUDE_DIR "${CMAKE_BINARY_DIR}/boost-alone" CACHE PATH "Boost's headers")

# What is shipped is not changed after it is linked, so that it can be signed; and the same sources give
# the same bytes.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-s -Wl,--no-insert-timestamp")

# What CTest starts the test programs with; Qt's DLLs and the compiler's are found by WINEPATH.
set(CMAKE_CROSSCOMPILING_EMULATOR "env;WINEPATH=Z:${qt}/bin;wine")
