# Debian packages: orvex with the program, orvex-postgresql with its module for stores on a server, orvex-smtp with that for
# e-mail, orvex-dev with what is needed to build a tool of one's own.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orvex)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL program postgresql smtp development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Orvex developers <orvex@example.com>")

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME orvex)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
# Nothing that is linked shows that it is needed.
string(REGEX MATCH "^[0-9]+" icu_major ${ICU_VERSION})
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS libicu${icu_major})
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION "look into a message store and change it
Ten subcommands for engineers and testers: they list, count, add, update and
delete video and audio messages and voicemails, send a test video message, read
voicemail transcripts, and ask how transcription and the cloud account stand.
The store is one SQLite file, and sent messages go into an outbox folder.")

set(CPACK_DEBIAN_POSTGRESQL_PACKAGE_NAME orvex-postgresql)
set(CPACK_DEBIAN_POSTGRESQL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_POSTGRESQL_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_POSTGRESQL_PACKAGE_DEPENDS "orvex (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_POSTGRESQL_DESCRIPTION "message stores of orvex on a PostgreSQL server
A module that orvex loads when its message store is a database on a PostgreSQL
server, which many machines share: orvex --store postgresql://host/database.")
set(CPACK_DEBIAN_SMTP_PACKAGE_NAME orvex-smtp)
set(CPACK_DEBIAN_SMTP_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_SMTP_PACKAGE_SHLIBDEPS ON)
# Options of libcurl are no symbols, which would show what version has them.
set(CPACK_DEBIAN_SMTP_PACKAGE_DEPENDS "orvex (= ${PROJECT_VERSION}), libcurl4 (>= 7.88)")
set(CPACK_DEBIAN_SMTP_DESCRIPTION "video messages of orvex as e-mail
A module that orvex loads to deliver video messages by way of a mail server:
orvex --sending-service smtp://ann@mail.example.com send-video-message.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME orvex-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "orvex (= ${PROJECT_VERSION}), libboost${Boost_VERSION_MAJOR}.${Boost_VERSION_MINOR}-dev, libexpat1-dev, \
libsqlite3-dev, pkg-config")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS libgtest-dev)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "build a tool of one's own with the commands of orvex
The commands of orvex as static libraries, their headers, what CMake and
pkg-config have to know of them, and an example: a host that offers the
commands over a message store and a sending service of its own.")

# A package has a changelog in Debian's own form; other ways to install do without it.
string(TIMESTAMP today "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${PROJECT_BINARY_DIR}/changelog "orvex (${PROJECT_VERSION}) unstable; urgency=medium

  * What changed is told in /usr/share/doc/orvex/CHANGELOG.md.

 -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${today}
")
file(ARCHIVE_CREATE OUTPUT ${PROJECT_BINARY_DIR}/changelog.gz PATHS ${PROJECT_BINARY_DIR}/changelog
  FORMAT raw COMPRESSION GZip COMPRESSION_LEVEL 9)
install(FILES ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${documentation}/orvex COMPONENT program EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${documentation}/orvex-postgresql COMPONENT postgresql EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${documentation}/orvex-smtp COMPONENT smtp EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${documentation}/orvex-dev COMPONENT development EXCLUDE_FROM_ALL)

include(CPack)
