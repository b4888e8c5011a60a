# Lays the program out as an application bundle, and offers a maker on a Mac the targets "sign" and "dmg".
set(ORVO_SIGN_IDENTITY "-" CACHE STRING "The identity to sign with, as the keychain names it; \"-\" signs ad hoc")

set(contents ${ORVO_BUNDLE}/Contents)
set_target_properties(orvo-installer PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${contents}/MacOS)
configure_file(${CMAKE_CURRENT_LIST_DIR}/Info.plist.in ${contents}/Info.plist @ONLY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/Orvo.icns ${contents}/Resources/Orvo.icns COPYONLY)

add_custom_target(bundle ALL)
add_dependencies(bundle orvo-installer)
if(TARGET demo)
  add_dependencies(bundle demo)
endif()

add_custom_target(sign
  COMMAND ${CMAKE_CURRENT_LIST_DIR}/sign ${ORVO_BUNDLE} ${ORVO_SIGN_IDENTITY}
  COMMENT "Signing the bundle"
  VERBATIM)
add_dependencies(sign bundle)

# ditto keeps the extended attributes, in which the signature of a program that is a script lies.
install(CODE "execute_process(COMMAND ditto \"${ORVO_BUNDLE}\"
  \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/Installer Orvo Transitions.app\" COMMAND_ERROR_IS_FATAL ANY)")

set(CPACK_GENERATOR DragNDrop)
set(CPACK_PACKAGE_VENDOR Orvo)
set(CPACK_PACKAGE_FILE_NAME "Installer Orvo Transitions ${PROJECT_VERSION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /)
set(CPACK_DMG_VOLUME_NAME "Orvo Transitions")
set(CPACK_DMG_FORMAT UDZO)
set(CPACK_DMG_DISABLE_APPLICATIONS_SYMLINK ON) # the installer is run from the image, not dragged off it
include(CPack)

add_custom_target(dmg
  COMMAND ${CMAKE_CPACK_COMMAND} --config ${CMAKE_BINARY_DIR}/CPackConfig.cmake
  WORKING_DIRECTORY ${CMAKE_BINARY_DIR}
  COMMENT "Packing the disk image"
  VERBATIM)
add_dependencies(dmg sign)
