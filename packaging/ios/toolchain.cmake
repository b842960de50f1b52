# Cross-compiles on Debian for iOS 7.0 on arm64, against the SDK in this folder. CMake is told Darwin, the system below,
# and says APPLE where the sources say __APPLE__; under the name iOS it takes nothing but the vendor's own SDK.

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
set(CMAKE_OSX_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/sdk)

# libc++'s headers are Debian's; their configuration is ours and stands before them.
set(libcxx "-stdlib++-isystem ${CMAKE_OSX_SYSROOT}/cxx -stdlib++-isystem /usr/lib/llvm-19/include/c++/v1")
foreach(language IN ITEMS C CXX OBJCXX)
  set(CMAKE_${language}_COMPILER /usr/bin/clang++-19)
  set(CMAKE_${language}_COMPILER_TARGET arm64-apple-ios7.0)
  set(CMAKE_${language}_FLAGS_INIT "${libcxx} -F${CMAKE_OSX_SYSROOT}/Library/Frameworks")
endforeach()
set(CMAKE_C_COMPILER /usr/bin/clang-19)

set(CMAKE_AR /usr/lib/llvm-19/bin/llvm-ar)
set(CMAKE_RANLIB /usr/lib/llvm-19/bin/llvm-ranlib)
set(CMAKE_INSTALL_NAME_TOOL /usr/lib/llvm-19/bin/llvm-install-name-tool)
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-fuse-ld=lld")

# The stubs hold what the library uses; a program would need more.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
