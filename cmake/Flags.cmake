# How everything here is compiled: one interface target for all code, one more for code that also goes to the device.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# Device code ends up in programs and in a library that is loaded into one.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_library(quillet_flags INTERFACE)
target_include_directories(quillet_flags INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_definitions(quillet_flags INTERFACE _FILE_OFFSET_BITS=64)
target_compile_options(quillet_flags INTERFACE -Wall -Wextra -Wconversion -Wshadow -Werror
                       # GCC 12 takes adding to a string for a copy onto itself (GCC bug 105329).
                       # clang-tidy, which reads this command line, does not know the option.
                       "$<$<CXX_COMPILER_ID:GNU>:-Wno-unknown-warning-option;-Wno-restrict>")

if(QUILLET_SANITIZE)
  # The check of virtual tables asks for run-time types, which device code does not have.
  target_compile_options(quillet_flags INTERFACE -fsanitize=${QUILLET_SANITIZE} -fno-sanitize=vptr
                                                 -fno-sanitize-recover=all
                                                 -fno-omit-frame-pointer)
  target_compile_definitions(quillet_flags INTERFACE _GLIBCXX_ASSERTIONS)
  target_link_options(quillet_flags INTERFACE -fsanitize=${QUILLET_SANITIZE})
endif()

# Device code is compiled on Linux under the device's limits, so that a slip shows at once.
add_library(quillet_device_flags INTERFACE)
target_link_libraries(quillet_device_flags INTERFACE quillet_flags)
target_compile_options(quillet_device_flags INTERFACE -fno-exceptions -fno-rtti -fvisibility=hidden
                                                      -fvisibility-inlines-hidden
                       # What a host raises must find its way through our frames to whoever catches it.
                       $<$<PLATFORM_ID:Darwin>:-funwind-tables>)
