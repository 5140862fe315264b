# What `cmake --install` lays out, and the packages that `cpack` makes of it; scripts/package calls both.
# The programs stand together in lib/vantry, where each finds its siblings and the help, with links to them in bin: the same tree
# is a Debian package below /usr and, as an archive, runs from any folder.

set(home lib/vantry)
set(share share/vantry)
install(TARGETS Vantry VYRun VYTimer sample_session RUNTIME DESTINATION ${home})
install(DIRECTORY help DESTINATION ${share})
install(DIRECTORY samples DESTINATION ${share} FILES_MATCHING PATTERN "*.csv" PATTERN "README.md" PATTERN "out" EXCLUDE)
install(CODE "
  function(link_to target name)
    file(MAKE_DIRECTORY \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/bin\")
    file(CREATE_LINK \"\${target}\" \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/\${name}\" SYMBOLIC)
  endfunction()
  foreach(program Vantry VYRun VYTimer)
    link_to(../${home}/\${program} bin/\${program})
  endforeach()
  link_to(../../${share}/help ${home}/help)
  link_to(../../${share}/samples ${home}/samples)
")

install(FILES packaging/vantry.desktop DESTINATION share/applications)
install(FILES packaging/vantry.svg DESTINATION share/icons/hicolor/scalable/apps)
find_program(RSVG_CONVERT rsvg-convert)
if(RSVG_CONVERT)
  foreach(size 16 24 32 48 64 128 256)
    set(icon ${CMAKE_BINARY_DIR}/packaging/${size}/vantry.png)
    add_custom_command(OUTPUT ${icon}
      COMMAND ${RSVG_CONVERT} -w ${size} -h ${size} ${PROJECT_SOURCE_DIR}/packaging/vantry.svg -o ${icon}
      DEPENDS packaging/vantry.svg VERBATIM)
    list(APPEND icons ${icon})
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/packaging/${size})
    install(FILES ${icon} DESTINATION share/icons/hicolor/${size}x${size}/apps)
  endforeach()
  add_custom_target(vantry_icons ALL DEPENDS ${icons})
endif()

# The release is as old as its last commit, so that two builds of one commit give one package.
execute_process(COMMAND git -C ${PROJECT_SOURCE_DIR} log -1 --format=%cs OUTPUT_VARIABLE VANTRY_RELEASE_DATE
  OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND git -C ${PROJECT_SOURCE_DIR} log -1 --format=%cD OUTPUT_VARIABLE VANTRY_RELEASE_DATE_LONG
  OUTPUT_STRIP_TRAILING_WHITESPACE)
# A tree without its history, or a machine without git, is released today.
if(NOT VANTRY_RELEASE_DATE)
  string(TIMESTAMP VANTRY_RELEASE_DATE "%Y-%m-%d" UTC)
  string(TIMESTAMP VANTRY_RELEASE_DATE_LONG "%a, %d %b %Y %H:%M:%S +0000" UTC)
endif()
file(READ LICENSE LICENSE_TEXT)
string(REGEX REPLACE "^MIT License\n\nCopyright[^\n]*\n\n" "" LICENSE_TEXT "${LICENSE_TEXT}")
string(STRIP "${LICENSE_TEXT}" LICENSE_TEXT)
string(REGEX REPLACE "\n\n" "\n.\n" LICENSE_TEXT "${LICENSE_TEXT}")
string(REPLACE "\n" "\n " LICENSE_TEXT " ${LICENSE_TEXT}")
foreach(text copyright changelog org.vantry.Vantry.metainfo.xml)
  configure_file(packaging/${text}.in packaging/${text} @ONLY)
endforeach()
set(made ${CMAKE_BINARY_DIR}/packaging)
install(FILES ${made}/org.vantry.Vantry.metainfo.xml DESTINATION share/metainfo)
install(FILES ${made}/copyright DESTINATION share/doc/vantry)
foreach(page packaging/man/Vantry.1 packaging/man/VYRun.1 packaging/man/VYTimer.1 ${made}/changelog CHANGELOG.md)
  get_filename_component(name ${page} NAME)
  get_filename_component(path ${page} ABSOLUTE)
  add_custom_command(OUTPUT ${made}/${name}.gz COMMAND gzip -9nc < ${path} > ${made}/${name}.gz DEPENDS ${path})
  list(APPEND pressed ${made}/${name}.gz)
  if(name MATCHES "[.]1$")
    install(FILES ${made}/${name}.gz DESTINATION share/man/man1)
  else()
    install(FILES ${made}/${name}.gz DESTINATION share/doc/vantry)
  endif()
endforeach()
add_custom_target(vantry_papers ALL DEPENDS ${pressed})

set(CPACK_PACKAGE_NAME vantry)
set(CPACK_PACKAGE_VENDOR "The Vantry developers")
set(CPACK_PACKAGE_CONTACT "The Vantry developers <developers@vantry.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "copy tables between databases, Access and DBF files, and text")
set(CPACK_PACKAGE_DESCRIPTION "A wizard that copies tables from a source to a target, at once or as a saved
session for its runner and its scheduler. It reads and writes Access files
(.mdb, .accdb), FoxPro and dBase tables with their memo files and indexes,
MySQL and MariaDB, SQL Server, Oracle, any data source with an ODBC driver, and
delimited or fixed-width text.")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
  WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGE_FILE_NAME vantry-${PROJECT_VERSION}-linux-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)  # of the Debian package; scripts/package makes the archive without one
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION database)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Text in the window needs a font, the help a browser; SQL Server is reached through FreeTDS, other kinds through drivers that unixodbc lists.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "unixodbc-common | unixodbc")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "tdsodbc, odbcinst, xdg-utils, fonts-dejavu-core | fonts-liberation2")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "odbc-postgresql, odbc-mariadb, libsqliteodbc")
include(CPack)
