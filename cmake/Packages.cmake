# The libraries that the build links; packaging/linux/build-packages.txt names the Debian packages they come from.

find_package(ZLIB REQUIRED)
if(APPLE)  # the device's other libraries are linked by name
  return()
endif()

find_package(PkgConfig REQUIRED)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
find_package(fmt REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(CLI11 REQUIRED)
pkg_check_modules(SQLITE REQUIRED IMPORTED_TARGET sqlite3)
pkg_check_modules(AVFORMAT REQUIRED IMPORTED_TARGET libavformat libavcodec libavutil)
pkg_check_modules(UV REQUIRED IMPORTED_TARGET libuv)
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
