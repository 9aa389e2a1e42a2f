# Removes the files that a manifest of `cmake --install` lists, and the folders that are named after
# this project once they are empty. What others put there stays, and so do their folders.
#
#   cmake -D KIV_MANIFEST=build/release/install_manifest.txt -P cmake/KivUninstall.cmake
# DESTDIR in the environment stands before every path, as when installing.
if(NOT EXISTS "${KIV_MANIFEST}")
  message(FATAL_ERROR "nothing to uninstall: there is no '${KIV_MANIFEST}'. "
    "It is written by `cmake --install` into the build folder")
endif()

set(folders "")
file(STRINGS "${KIV_MANIFEST}" files)
foreach(file IN LISTS files)
  set(file "$ENV{DESTDIR}${file}")
  if(EXISTS "${file}" OR IS_SYMLINK "${file}")
    file(REMOVE "${file}")
    if(EXISTS "${file}" OR IS_SYMLINK "${file}")
      message(FATAL_ERROR "cannot remove '${file}': it needs the rights that it was installed with")
    endif()
    message(STATUS "removed ${file}")
  endif()
  # Folders of ours: .../kiv and what lies below it.
  cmake_path(GET file PARENT_PATH folder)
  while(folder MATCHES "/kiv(/|$)")
    list(APPEND folders "${folder}")
    cmake_path(GET folder PARENT_PATH folder)
  endwhile()
endforeach()

# The longest first: a folder comes after everything in it.
list(REMOVE_DUPLICATES folders)
list(SORT folders ORDER DESCENDING)
foreach(folder IN LISTS folders)
  file(GLOB left LIST_DIRECTORIES true "${folder}/*" "${folder}/.*")
  if(IS_DIRECTORY "${folder}" AND NOT left)
    file(REMOVE_RECURSE "${folder}")
  endif()
endforeach()
file(REMOVE "${KIV_MANIFEST}")
