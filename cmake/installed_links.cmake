# The links of an installation, made when its prefix is known: one completion and one
# manual page for all programs of one screen, and what the product looks for below /etc
# wherever the rest is put. PROGRAMS are those of one screen; the folders hang on the prefix.

function(link_to target link)
  set(link "$ENV{DESTDIR}${link}")
  if(IS_DIRECTORY "${link}" AND NOT IS_SYMLINK "${link}") # of an older installation
    file(REMOVE_RECURSE "${link}")
  endif()
  get_filename_component(folder "${link}" DIRECTORY)
  file(MAKE_DIRECTORY "${folder}")
  file(CREATE_LINK "${target}" "${link}" SYMBOLIC)
  message(STATUS "Installing: ${link} -> ${target}")
endfunction()

set(prefix "${CMAKE_INSTALL_PREFIX}")
foreach(program IN LISTS PROGRAMS)
  link_to(wardenlink "${prefix}/${DATA_FOLDER}/bash-completion/completions/${program}")
endforeach()
foreach(program IN LISTS PROGRAMS)
  link_to(wardenlink-screens.8 "${prefix}/${MANUAL_FOLDER}/man8/${program}.8")
endforeach()
link_to(../../wardenlink/help "${prefix}/${DATA_FOLDER}/doc/wardenlink/help")
link_to("${prefix}/${DATA_FOLDER}/wardenlink/help" /etc/wardenlink/help)
link_to("${prefix}/${SBIN_FOLDER}/tolvd" /etc/wardenlink/daemon)
