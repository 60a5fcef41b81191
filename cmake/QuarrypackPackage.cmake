# What `cmake --install` installs besides program and libraries, and the packages that cpack builds.
include(GNUInstallDirs)
option(QUARRYPACK_DEBIAN "Install what Debian packages have, where they have it" OFF)
set(quarrypack_authors "The quarrypack authors <authors@quarrypack.example>")

install(PROGRAMS batch/quarrypack-batch DESTINATION "${CMAKE_INSTALL_BINDIR}")
# Laid out as in the sources, so that the links between them resolve.
install(FILES README.md CHANGELOG.md ARCHITECTURE.md CONTRIBUTING.md
  DESTINATION "${CMAKE_INSTALL_DOCDIR}")
file(GLOB quarrypack_documents CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/doc/*.md")
install(FILES ${quarrypack_documents} DESTINATION "${CMAKE_INSTALL_DOCDIR}/doc")
install(FILES doc/quarrypack_config.example.xml
  DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples" RENAME quarrypack_config.xml)

# The prefix is known only at installation: cpack uses another one than was configured here.
install(CODE "
  set(PROJECT_VERSION \"${PROJECT_VERSION}\")
  set(CMAKE_INSTALL_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  set(CMAKE_INSTALL_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
  configure_file(\"${CMAKE_CURRENT_LIST_DIR}/quarrypack.pc.in\"
    \"${PROJECT_BINARY_DIR}/quarrypack.pc\" @ONLY)")
install(FILES "${PROJECT_BINARY_DIR}/quarrypack.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

# ---------------------------------------------------------------- completion
set(zsh_completions "${CMAKE_INSTALL_DATADIR}/zsh/site-functions")
if(QUARRYPACK_DEBIAN)
  set(zsh_completions "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions")
endif()
set(bash_completions "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
# bash looks for a file with the name of the command.
foreach(command quarrypack quarrypack-batch quarrypack-embed)
  install(FILES completion/quarrypack.bash DESTINATION "${bash_completions}" RENAME ${command})
endforeach()
foreach(companion quarrypack-captions quarrypack-check)
  install(FILES completion/${companion}.bash DESTINATION "${bash_completions}" RENAME ${companion})
  install(FILES completion/_${companion} DESTINATION "${zsh_completions}")
  install(FILES completion/${companion}.fish
    DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d")
endforeach()
install(FILES completion/_quarrypack DESTINATION "${zsh_completions}")
install(FILES completion/quarrypack.fish completion/quarrypack-batch.fish
  completion/quarrypack-embed.fish
  DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d")

# ---------------------------------------------------------------- manual pages
find_program(PANDOC pandoc)
find_program(GZIP gzip)
if(PANDOC AND GZIP)
  set(pages)
  foreach(command quarrypack quarrypack-batch quarrypack-captions quarrypack-check
      quarrypack-embed)
    set(source "${PROJECT_SOURCE_DIR}/doc/man/${command}.1.md")
    set(page "${PROJECT_BINARY_DIR}/man/${command}.1")
    configure_file("${source}" "${page}.md" @ONLY)
    add_custom_command(OUTPUT "${page}.gz"
      COMMAND "${PANDOC}" --standalone --from markdown-smart --to man --output "${page}" "${page}.md"
      COMMAND "${GZIP}" -9 --no-name --force --keep "${page}"
      DEPENDS "${page}.md"
      COMMENT "Manual page ${command}(1)" VERBATIM)
    list(APPEND pages "${page}.gz")
  endforeach()
  add_custom_target(quarrypack_man ALL DEPENDS ${pages})
  install(FILES ${pages} DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
else()
  message(STATUS "No manual pages: pandoc is not installed")
endif()

# ---------------------------------------------------------------- licence, and what Debian wants
if(QUARRYPACK_DEBIAN)
  install(FILES cmake/debian/copyright DESTINATION "${CMAKE_INSTALL_DOCDIR}")
  # Every Debian system already has the text of the licence.
  install(CODE "
    file(CREATE_LINK ../../common-licenses/Apache-2.0
      \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DOCDIR}/LICENSE\" SYMBOLIC)")

  set(changes "${PROJECT_BINARY_DIR}/debian/changelog")
  file(TIMESTAMP CHANGELOG.md changed "%a, %d %b %Y %H:%M:%S +0000" UTC)
  file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/debian")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md)
  execute_process(COMMAND awk -v "maintainer=${quarrypack_authors}" -v "date=${changed}"
      -f "${CMAKE_CURRENT_LIST_DIR}/debian/changelog.awk" "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
    OUTPUT_FILE "${changes}" COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND gzip -9 --no-name --force --keep "${changes}" COMMAND_ERROR_IS_FATAL ANY)
  install(FILES "${changes}.gz" DESTINATION "${CMAKE_INSTALL_DOCDIR}")

  # Intermediate code in the libraries is of use only to the same version of the compiler.
  foreach(room kav kaf)
    install(CODE "
      execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-debug --enable-deterministic-archives
          --remove-section=.comment --remove-section=.gnu.lto_* --remove-section=.gnu.debuglto_*
          --strip-symbol=__gnu_lto_v1 --strip-symbol=__gnu_lto_slim
          \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/libquarrypack_${room}.a\"
        COMMAND_ERROR_IS_FATAL ANY)")
  endforeach()
else()
  install(FILES LICENSE DESTINATION "${CMAKE_INSTALL_DOCDIR}")
endif()

# ---------------------------------------------------------------- packages
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quarrypack)
set(CPACK_PACKAGE_VENDOR "The quarrypack authors")
set(CPACK_PACKAGE_CONTACT "${quarrypack_authors}")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://quarrypack.example")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "put the captions of a QuickTime movie into its pictures")
set(CPACK_PACKAGE_DESCRIPTION
"Reads a movie with H.264 video and a track of CEA-608 captions, as editing
suites deliver it, and writes an .mp4 whose captions travel in the pictures,
where players, set-top boxes and HLS packagers look for them. Nothing is
decoded or encoded again.
.
The package holds the programs quarrypack, quarrypack-embed, quarrypack-batch,
quarrypack-captions, which reads captions out of movies, and quarrypack-check,
which judges them before delivery; and the static C++ library under them with
its headers.")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The libraries that the program is linked with, with their versions.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libexpat1 (>= 2.4)")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS parallel)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "libboost-dev, pkg-config")
set(CPACK_SOURCE_GENERATOR TXZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME "quarrypack-${PROJECT_VERSION}-source")
set(CPACK_SOURCE_IGNORE_FILES "/\\\\.git" "/build" "/out/" "__pycache__" "\\\\.swp$")
include(CPack)
