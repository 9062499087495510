# What stands beside the programs: man pages, completion for shells, pages to read.

# All that people run is one program, so the pages of its commands stand together in section 1,
# whether or not a command needs an administrator. What the print server runs stands in section 8.
find_program(SCDOC scdoc DOC "Turns docs/man/*.scd into man pages")
if(SCDOC)
  file(GLOB sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/docs/man/*.scd")
  set(pages)
  foreach(source IN LISTS sources)
    cmake_path(GET source STEM LAST_ONLY name)  # moxsupply.1
    cmake_path(GET name EXTENSION LAST_ONLY section)
    string(REPLACE "." "man" folder "${section}")
    set(filled "${PROJECT_BINARY_DIR}/docs/man/${name}.scd")
    set(page "${PROJECT_BINARY_DIR}/share/man/${folder}/${name}")
    configure_file("${source}" "${filled}" @ONLY)  # the version, and where things are installed
    file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/share/man/${folder}")
    add_custom_command(
      OUTPUT "${page}"
      COMMAND "${SCDOC}" < "${filled}" > "${page}"
      DEPENDS "${filled}" VERBATIM)
    list(APPEND pages "${page}")
    install(FILES "${page}" DESTINATION "${CMAKE_INSTALL_MANDIR}/${folder}" COMPONENT programs)
  endforeach()
  add_custom_target(man-pages ALL DEPENDS ${pages})
else()
  message(STATUS "scdoc was not found: no man pages are built")
endif()

set(MOXSUPPLY_ZSH_COMPLETIONS "${CMAKE_INSTALL_DATADIR}/zsh/site-functions" CACHE PATH
  "Where zsh looks for completion functions of installed programs")
install(FILES packaging/completion/moxsupply.bash RENAME moxsupply
  DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT programs)
install(FILES packaging/completion/moxsupply.zsh RENAME _moxsupply
  DESTINATION "${MOXSUPPLY_ZSH_COMPLETIONS}" COMPONENT programs)
install(FILES packaging/completion/moxsupply.fish
  DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d" COMPONENT programs)

install(FILES docs/levels-on-your-queue.md docs/metrics.md docs/monitoring.md docs/simulator.md docs/transcripts.md
  DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT programs)
install(DIRECTORY docs/images DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT programs)
