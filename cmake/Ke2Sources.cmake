# Each folder's C++ files and resource files join a target by globbing, so adding a file to a folder
# needs no edit of a shared list. CONFIGURE_DEPENDS re-globs on every build.
function(ke2_add_folder_sources target folder)
  file(GLOB _files CONFIGURE_DEPENDS
    ${CMAKE_SOURCE_DIR}/${folder}/*.cpp
    ${CMAKE_SOURCE_DIR}/${folder}/*.h
    ${CMAKE_SOURCE_DIR}/${folder}/*.qrc)
  if(_files)
    target_sources(${target} PRIVATE ${_files})
    ke2_refresh_autogen(${target})
  endif()
endfunction()

# Ninja's automatic moc step does not notice a newly globbed file: it only reruns when a file it
# already knows changes. Every configure (which a new file triggers) drops its stamp so that moc
# looks at the sources again; unchanged files are not re-processed.
function(ke2_refresh_autogen target)
  file(REMOVE ${CMAKE_CURRENT_BINARY_DIR}/${target}_autogen/timestamp)
endfunction()
