# How the Objective-C boundary is compiled: manual retain and release, blocks, no C++ exceptions. On Linux that is clang over
# the GNU runtime and GNUstep's Foundation, for the stand-in of the device in tests/rig.

if(NOT APPLE)
  find_program(CMAKE_OBJCXX_COMPILER clang++-19 REQUIRED)  # GCC has no blocks
  find_path(GNUSTEP_INCLUDES Foundation/Foundation.h PATH_SUFFIXES GNUstep REQUIRED)
  # The runtime's headers lie among GCC's own, which clang must not take for its own.
  file(GLOB gccIncludes /usr/lib/gcc/*/*/include)
  find_path(OBJC_INCLUDES objc/objc.h PATHS ${gccIncludes} REQUIRED)
  find_library(GNUSTEP_BASE gnustep-base REQUIRED)
  find_library(OBJC_RUNTIME NAMES libobjc.so PATHS ${OBJC_INCLUDES}/.. REQUIRED)
  find_library(BLOCKS_RUNTIME BlocksRuntime REQUIRED)
endif()
enable_language(OBJCXX)
set(CMAKE_OBJCXX_STANDARD 20)
set(CMAKE_OBJCXX_STANDARD_REQUIRED ON)

add_library(quillet_objc_flags INTERFACE)
target_link_libraries(quillet_objc_flags INTERFACE quillet_device_flags)
target_compile_options(quillet_objc_flags INTERFACE
                       $<$<COMPILE_LANGUAGE:OBJCXX>:-fblocks -fobjc-exceptions -fno-objc-arc>)
if(NOT APPLE)
  target_compile_options(quillet_objc_flags INTERFACE
    "$<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-runtime=gcc;-D_NATIVE_OBJC_EXCEPTIONS;-fconstant-string-class=NSConstantString>"
    "SHELL:-idirafter ${OBJC_INCLUDES}"
    # Without C++'s exceptions, clang leaves @try out for this runtime alone.
    "$<$<COMPILE_LANGUAGE:OBJCXX>:SHELL:-Xclang -fexceptions>")
  # What stands in for the platform's own headers; GNUstep's are taken as they are.
  target_include_directories(quillet_objc_flags INTERFACE ${PROJECT_SOURCE_DIR}/tests/rig/include)
  target_include_directories(quillet_objc_flags SYSTEM INTERFACE ${GNUSTEP_INCLUDES})
  # In this order: GNUstep has a _Block_copy of its own, which copies nothing.
  target_link_libraries(quillet_objc_flags INTERFACE ${BLOCKS_RUNTIME} ${GNUSTEP_BASE} ${OBJC_RUNTIME})
endif()
