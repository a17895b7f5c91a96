# Cross-builds the product for macOS on any host with clang, lld (ld64.lld)
# and the LLVM binary tools, against a macOS SDK given by path:
#
#   cmake -S . -B build/macos -DCMAKE_TOOLCHAIN_FILE=cmake/MacOSToolchain.cmake \
#         -DMACHELPER_MACOS_SDK=/path/to/MacOSX.sdk
#
# The executables are universal (x86_64 and arm64) and run on the oldest
# releases each architecture allows: the SDK's minimum for Intel Macs, and
# 11.0, the first release on Apple silicon, for arm64 (clang raises the arm64
# slice to 11.0 by itself).
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# try_compile projects read this file again; they get the prepared SDK and
# tool folder from the parent project instead of preparing their own.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MACHELPER_MACOS_SDK MACHELPER_MACOS_SYSROOT
     MACHELPER_MACOS_TOOLS)

if(NOT MACHELPER_MACOS_SYSROOT)
  if(NOT MACHELPER_MACOS_SDK)
    set(MACHELPER_MACOS_SDK "$ENV{MACOS_SDK}")
  endif()
  if(NOT IS_DIRECTORY "${MACHELPER_MACOS_SDK}/usr/include")
    message(FATAL_ERROR "MACHELPER_MACOS_SDK (or the environment's MACOS_SDK) must name a macOS SDK; "
                        "got '${MACHELPER_MACOS_SDK}'")
  endif()
  get_filename_component(MACHELPER_MACOS_SDK "${MACHELPER_MACOS_SDK}" ABSOLUTE)
  set(MACHELPER_MACOS_SDK "${MACHELPER_MACOS_SDK}" CACHE PATH "The macOS SDK the product is built against")
  include(${CMAKE_CURRENT_LIST_DIR}/MacOSSdkLinks.cmake)
  machelper_sdk_with_links("${MACHELPER_MACOS_SDK}" "${CMAKE_BINARY_DIR}/macos-sdk" MACHELPER_MACOS_SYSROOT)

  # clang merges the slices of a multi-architecture compile with a tool it
  # calls `lipo`; Debian ships it as llvm-lipo.
  find_program(MACHELPER_LIPO NAMES lipo llvm-lipo llvm-lipo-14 llvm-lipo-15 llvm-lipo-16 REQUIRED)
  set(MACHELPER_MACOS_TOOLS "${CMAKE_BINARY_DIR}/macos-tools")
  file(MAKE_DIRECTORY "${MACHELPER_MACOS_TOOLS}")
  file(CREATE_LINK "${MACHELPER_LIPO}" "${MACHELPER_MACOS_TOOLS}/lipo" SYMBOLIC)
endif()

set(CMAKE_OSX_SYSROOT "${MACHELPER_MACOS_SYSROOT}")
set(CMAKE_OSX_ARCHITECTURES "x86_64;arm64" CACHE STRING "")
set(CMAKE_OSX_DEPLOYMENT_TARGET "10.9" CACHE STRING "")

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_OBJCXX_COMPILER clang++)
set(CMAKE_ASM_COMPILER clang)
foreach(lang C CXX OBJCXX ASM)
  set(CMAKE_${lang}_COMPILER_TARGET x86_64-apple-darwin)
endforeach()
# Objects hold both architectures; Apple's libtool makes a universal archive
# of them, where ar would make one the linker cannot index.
find_program(MACHELPER_LIBTOOL NAMES llvm-libtool-darwin llvm-libtool-darwin-14 llvm-libtool-darwin-15
             llvm-libtool-darwin-16 REQUIRED)
foreach(lang C CXX OBJCXX)
  set(CMAKE_${lang}_CREATE_STATIC_LIBRARY "${MACHELPER_LIBTOOL} -static -o <TARGET> <OBJECTS>")
endforeach()
find_program(CMAKE_INSTALL_NAME_TOOL NAMES llvm-install-name-tool llvm-install-name-tool-14
             llvm-install-name-tool-15 llvm-install-name-tool-16 REQUIRED)

set(CMAKE_CXX_FLAGS_INIT "-stdlib=libc++")
set(CMAKE_OBJCXX_FLAGS_INIT "-stdlib=libc++")
foreach(kind EXE SHARED MODULE)
  # Linker warnings fail the build as compiler warnings do.
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -B${MACHELPER_MACOS_TOOLS} -Wl,-fatal_warnings")
endforeach()
foreach(lang C CXX OBJCXX)
  string(APPEND CMAKE_${lang}_FLAGS_INIT " -B${MACHELPER_MACOS_TOOLS}")
endforeach()

# Only the SDK is searched for libraries and headers, never the host.
set(CMAKE_FIND_ROOT_PATH "${MACHELPER_MACOS_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
