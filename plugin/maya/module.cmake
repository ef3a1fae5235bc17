# The Maya module that `cmake --install` lays out under <prefix>/KestrelEditor2/: the .mod file,
# plug-ins/<platform>-qt<N>/ with this build's plug-in, and the drag-and-drop installer. Builds for
# other platforms or the other Qt can be installed into the same prefix; the .mod file names them
# all, and Maya picks the line of its own version and platform. Everything else the plug-in needs
# (scripts, icons) is compiled into it as resources.
set(KE2_MAYA_QT5_VERSIONS 2022 2023 2024 CACHE STRING "Maya versions that load the Qt 5 build")
set(KE2_MAYA_QT6_VERSIONS 2025 2026 2027 CACHE STRING "Maya versions that load the Qt 6 build")
set(_ke2_module_platforms win64 linux mac)
if(WIN32)
  set(_ke2_module_platform win64)
elseif(APPLE)
  set(_ke2_module_platform mac)
else()
  set(_ke2_module_platform linux)
endif()

set(_ke2_mod "")
foreach(_platform IN LISTS _ke2_module_platforms)
  foreach(_qt 5 6)
    foreach(_maya IN LISTS KE2_MAYA_QT${_qt}_VERSIONS)
      string(APPEND _ke2_mod "+ MAYAVERSION:${_maya} PLATFORM:${_platform} KestrelEditor2 ${PROJECT_VERSION} .\n"
                             "plug-ins: plug-ins/${_platform}-qt${_qt}\n\n")
    endforeach()
  endforeach()
endforeach()
file(GENERATE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/module/KestrelEditor2.mod CONTENT "${_ke2_mod}")

install(FILES ${CMAKE_CURRENT_BINARY_DIR}/module/KestrelEditor2.mod
              ${CMAKE_CURRENT_SOURCE_DIR}/install_kestrel_editor2.mel
        DESTINATION KestrelEditor2 COMPONENT maya_module)
install(TARGETS KestrelEditor2
        LIBRARY DESTINATION KestrelEditor2/plug-ins/${_ke2_module_platform}-qt${KE2_QT_MAJOR} COMPONENT maya_module)
