# The one platform switch: real Apple frameworks on macOS, the emulation in
# emu/ everywhere else. Product targets link `machelper_platform` and nothing
# platform-specific of their own.
add_library(machelper_platform INTERFACE)

if(APPLE)
  set(MACHELPER_EMU OFF)
  target_link_libraries(machelper_platform INTERFACE
    "-framework CoreFoundation" "-framework Foundation" "-framework SystemConfiguration"
    "-framework Security" "-framework CoreWLAN" "-framework ServiceManagement" objc)
else()
  set(MACHELPER_EMU ON)
  if(NOT CMAKE_C_COMPILER_ID MATCHES "Clang" OR NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "The Linux build needs clang (blocks support); use the presets")
  endif()
  # Blocks are part of the language on Apple's compilers; here they come from
  # clang's -fblocks and libBlocksRuntime.
  add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-fblocks>)
  find_library(BLOCKS_RUNTIME BlocksRuntime REQUIRED)
  target_link_libraries(machelper_platform INTERFACE emu)
endif()
