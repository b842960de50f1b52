# The Debian packages: quillet, with the command, and libquillet-dev, with the tag engine for C++ programs.
# `cmake --workflow --preset package` makes both in build/package.

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL command library)
set(CPACK_PACKAGE_VENDOR "The Quillet authors")
set(CPACK_PACKAGE_CONTACT "The Quillet authors <quillet@example.org>")
# Each package has a description of its own, whose first line is its summary.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME quillet)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SUGGESTS "bash-completion, jq")
set(CPACK_DEBIAN_COMMAND_DESCRIPTION
"music library and tag editor for the command line
Quillet takes audio files that were just fetched, reads who made them, and puts
them into a music library with title, artist, album, numbers, year, duration
and cover art: by command, or through a folder that it watches. It also reads
and changes the ID3 tags of MP3 files, and never touches their audio.")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libquillet-dev)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libssl-dev, zlib1g-dev")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION
"ID3 tags and MPEG audio headers for C++ programs
The tag engine of quillet as a static C++20 library. It reads and writes ID3v1
and ID3v2.2 to ID3v2.4 tags, and reads MPEG audio headers with exact durations.
There is a CMake package, and a file for pkg-config.")

# What Debian wants besides, and one date for all files, so that one source gives one package, byte for byte.
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/debian/finish.cmake)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_SOURCE_DIR}/debian/date.cmake)
set(CPACK_QUILLET_SOURCE ${PROJECT_SOURCE_DIR})

include(CPack)
