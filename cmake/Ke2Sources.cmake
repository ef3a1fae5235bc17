# Each folder's C++ files and resource files join a target by globbing, so adding a file to a folder
# needs no edit of a shared list. CONFIGURE_DEPENDS re-globs on every build.
function(ke2_add_folder_sources target folder)
  file(GLOB _files CONFIGURE_DEPENDS
    ${CMAKE_SOURCE_DIR}/${folder}/*.cpp
    ${CMAKE_SOURCE_DIR}/${folder}/*.h
    ${CMAKE_SOURCE_DIR}/${folder}/*.qrc)
  if(_files)
    target_sources(${target} PRIVATE ${_files})
  endif()
endfunction()
