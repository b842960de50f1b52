# find_package(quillet) gives quillet::id3, the tag engine.
include(CMakeFindDependencyMacro)
find_dependency(ZLIB)
find_dependency(OpenSSL COMPONENTS Crypto)
include(${CMAKE_CURRENT_LIST_DIR}/quilletTargets.cmake)
