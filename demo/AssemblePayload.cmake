# Makes the folder DESTINATION from the pack PACK. With APPLICATION, the companion application is put together from
# that program, the program EXTENSION and the property lists in LISTS, and signed with the tool SEALER if it is set.
# The extension then gets the ENTITLEMENTS, if these are set.

file(REMOVE_RECURSE "${DESTINATION}")
file(COPY "${PACK}/" DESTINATION "${DESTINATION}" PATTERN .DS_Store EXCLUDE)

# Copies a file under another name; a program stays executable.
function(put from to)
  get_filename_component(folder "${to}" DIRECTORY)
  file(MAKE_DIRECTORY "${folder}")
  execute_process(COMMAND "${CMAKE_COMMAND}" -E copy "${from}" "${to}" COMMAND_ERROR_IS_FATAL ANY)
endfunction()

if(APPLICATION)
  set(bundle "${DESTINATION}/Orvo Transitions.app")
  set(extension "${bundle}/Contents/PlugIns/OrvoTransitions.pluginkit")
  put("${LISTS}/Info.plist" "${bundle}/Contents/Info.plist")
  put("${PACKAGE_INFO}" "${bundle}/Contents/PkgInfo")
  put("${APPLICATION}" "${bundle}/Contents/MacOS/Orvo Transitions")
  put("${LISTS}/orvo-owned.plist" "${bundle}/Contents/Resources/orvo-owned.plist")
  put("${LISTS}/Extension-Info.plist" "${extension}/Contents/Info.plist")
  put("${EXTENSION}" "${extension}/Contents/MacOS/OrvoTransitions")
  if(SEALER)
    if(ENTITLEMENTS)
      set(options --entitlements "${ENTITLEMENTS}")
    endif()
    # What is nested comes first.
    execute_process(COMMAND "${SEALER}" --force --sign - ${options} "${extension}" COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND "${SEALER}" --force --sign - "${bundle}" COMMAND_ERROR_IS_FATAL ANY)
  endif()
endif()
