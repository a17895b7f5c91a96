# A macOS SDK relies on symbolic links: every framework's Headers is a link
# into Versions/Current, itself a link to the current version. Some archive
# and copy tools flatten links into small files that hold the target's path,
# which leaves no framework header reachable. For such an SDK this builds, once
# per build tree, a mirror made of links: the flattened links become real links
# again and every other file links to its original.

# Sets <out> to a usable sysroot: the SDK itself when its links are intact,
# else the mirror at <mirror>.
function(machelper_sdk_with_links sdk mirror out)
  if(IS_DIRECTORY "${sdk}/System/Library/Frameworks/CoreFoundation.framework/Headers")
    set(${out} "${sdk}" PARENT_SCOPE)
    return()
  endif()
  set(${out} "${mirror}" PARENT_SCOPE)
  set(stamp "${mirror}/.mirrored-from")
  if(EXISTS "${stamp}")
    file(READ "${stamp}" from)
    if(from STREQUAL sdk)
      return()
    endif()
  endif()

  message(STATUS "Restoring the symbolic links of ${sdk} in ${mirror}")
  file(REMOVE_RECURSE "${mirror}")
  file(GLOB_RECURSE entries LIST_DIRECTORIES true RELATIVE "${sdk}" "${sdk}/*")
  set(files "")
  foreach(entry IN LISTS entries)
    if(IS_DIRECTORY "${sdk}/${entry}")
      file(MAKE_DIRECTORY "${mirror}/${entry}")
    else()
      list(APPEND files "${entry}")
    endif()
  endforeach()

  set(restored "")
  foreach(entry IN LISTS files)
    file(SIZE "${sdk}/${entry}" size)
    set(target "")
    if(size GREATER 0 AND size LESS 256)
      file(READ "${sdk}/${entry}" target)
    endif()
    if(target MATCHES "^[A-Za-z0-9._+/-]+$")
      file(CREATE_LINK "${target}" "${mirror}/${entry}" SYMBOLIC)
      list(APPEND restored "${entry}")
    else()
      file(CREATE_LINK "${sdk}/${entry}" "${mirror}/${entry}" SYMBOLIC)
    endif()
  endforeach()
  # A short file whose text names nothing in the SDK was a file after all
  # (a version number, or a link into a framework this SDK leaves out).
  foreach(entry IN LISTS restored)
    if(NOT EXISTS "${mirror}/${entry}")
      file(REMOVE "${mirror}/${entry}")
      file(CREATE_LINK "${sdk}/${entry}" "${mirror}/${entry}" SYMBOLIC)
    endif()
  endforeach()
  file(WRITE "${stamp}" "${sdk}")
endfunction()
