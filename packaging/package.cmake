# Installed files beyond the program, and the Debian package that cpack -G DEB
# makes of them, laid out as Debian expects: a gzipped manual page, the
# licence as a machine-readable copyright file and a gzipped changelog in the
# documentation directory.

find_program(WIREPRINT_GZIP gzip REQUIRED)
set(WIREPRINT_PACKAGE_DIR ${CMAKE_BINARY_DIR}/packaging)
file(MAKE_DIRECTORY ${WIREPRINT_PACKAGE_DIR})
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             ${CMAKE_SOURCE_DIR}/wireprint.1 ${CMAKE_CURRENT_LIST_DIR}/changelog.Debian)
# Maximum compression and no name or time stamp in the header, so the bytes
# depend only on the text.
foreach(pair "wireprint.1;wireprint.1.gz" "packaging/changelog.Debian;changelog.Debian.gz")
  list(GET pair 0 from)
  list(GET pair 1 to)
  execute_process(COMMAND ${WIREPRINT_GZIP} -9nc ${CMAKE_SOURCE_DIR}/${from}
                  OUTPUT_FILE ${WIREPRINT_PACKAGE_DIR}/${to} COMMAND_ERROR_IS_FATAL ANY)
endforeach()

install(FILES ${WIREPRINT_PACKAGE_DIR}/wireprint.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${CMAKE_CURRENT_LIST_DIR}/copyright ${WIREPRINT_PACKAGE_DIR}/changelog.Debian.gz
        DESTINATION ${CMAKE_INSTALL_DOCDIR})
# Not uploaded to Debian's archive, so no bug report is closed by it.
install(FILES ${CMAKE_CURRENT_LIST_DIR}/lintian-overrides
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME wireprint)
# A stripped program still carries the compilers' .comment and .note
# sections; the package drops them as Debian's own tools do.
if(CMAKE_OBJCOPY)
  file(CONFIGURE OUTPUT ${WIREPRINT_PACKAGE_DIR}/drop-sections.cmake CONTENT [[
file(GLOB_RECURSE programs "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/bin/wireprint")
foreach(program ${programs})
  execute_process(COMMAND "@CMAKE_OBJCOPY@" --remove-section=.comment --remove-section=.note
                  ${program} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
]] @ONLY)
  set(CPACK_PRE_BUILD_SCRIPTS ${WIREPRINT_PACKAGE_DIR}/drop-sections.cmake)
endif()

set(CPACK_PACKAGE_NAME wireprint)
set(CPACK_PACKAGE_VENDOR "wireprint")
set(CPACK_PACKAGE_CONTACT "wireprint maintainers <wireprint@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "print a database client's protocol trace as a readable listing")
# Debian shows each line as written: at most 80 columns.
string(CONCAT CPACK_PACKAGE_DESCRIPTION
  "wireprint reads the binary protocol trace that a database client records\n"
  "when SQLIDEBUG=2:path is set, and prints every packet with its messages\n"
  "and fields, optionally with a timing summary and statement statistics.\n"
  "Damaged or hostile traces are reported and never crash it.")
set(CPACK_PACKAGE_INSTALL_DIRECTORY wireprint)
set(CPACK_RESOURCE_FILE_LICENSE ${CMAKE_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
include(CPack)

# The changelog's latest entry names the version being packaged.
file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/changelog.Debian WIREPRINT_CHANGELOG_TOP LIMIT_COUNT 1)
if(NOT WIREPRINT_CHANGELOG_TOP MATCHES "^wireprint \\(${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}\\) ")
  message(WARNING "packaging/changelog.Debian does not start with version "
                  "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
endif()
