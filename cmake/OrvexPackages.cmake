# Debian packages: orvex (the program), orvex-postgresql and orvex-smtp (its modules), orvex-dev (libraries and headers).

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
# Loaded at run time, so that no dependency can be derived from the program.
string(REGEX MATCH "^[0-9]+" icu_major ${ICU_VERSION})
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS libicu${icu_major})
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION "inspect and change a message store
Ten subcommands for engineers and testers: they list, count, add, update and
delete video and audio messages and voicemails, send a test video message, read
voicemail transcripts, and print the state of transcription and the cloud account.
The store is one SQLite file, and sent messages go into an outbox folder.")

set(CPACK_DEBIAN_POSTGRESQL_PACKAGE_NAME orvex-postgresql)
set(CPACK_DEBIAN_POSTGRESQL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_POSTGRESQL_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_POSTGRESQL_PACKAGE_DEPENDS "orvex (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_POSTGRESQL_DESCRIPTION "message stores of orvex on a PostgreSQL server
A module that orvex loads if its message store is a database on a PostgreSQL
server, shared by many machines: orvex --store postgresql://host/database.")
set(CPACK_DEBIAN_SMTP_PACKAGE_NAME orvex-smtp)
set(CPACK_DEBIAN_SMTP_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_SMTP_PACKAGE_SHLIBDEPS ON)
# New options of libcurl are not symbols, so that the version cannot be derived from the module.
set(CPACK_DEBIAN_SMTP_PACKAGE_DEPENDS "orvex (= ${PROJECT_VERSION}), libcurl4 (>= 7.88)")
set(CPACK_DEBIAN_SMTP_DESCRIPTION "video messages of orvex as e-mail
A module that orvex loads to deliver video messages through a mail server:
orvex --sending-service smtp://ann@mail.example.com send-video-message.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME orvex-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "orvex (= ${PROJECT_VERSION}), libboost${Boost_VERSION_MAJOR}.${Boost_VERSION_MINOR}-dev, libexpat1-dev, \
libsqlite3-dev, pkg-config")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS libgtest-dev)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "build your own tool with the commands of orvex
The commands of orvex as static libraries, their headers, files for CMake and
pkg-config, and an example: a host that offers the commands with a message
store and a sending service of its own.")

# Only packages need a changelog in Debian's format.
string(TIMESTAMP today "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${PROJECT_BINARY_DIR}/changelog "orvex (${PROJECT_VERSION}) unstable; urgency=medium

  * See /usr/share/doc/orvex/CHANGELOG.md.

 -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${today}
")
file(ARCHIVE_CREATE OUTPUT ${PROJECT_BINARY_DIR}/changelog.gz PATHS ${PROJECT_BINARY_DIR}/changelog
  FORMAT raw COMPRESSION GZip COMPRESSION_LEVEL 9)
install(FILES ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${documentation}/orvex COMPONENT program EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${documentation}/orvex-postgresql COMPONENT postgresql EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${documentation}/orvex-smtp COMPONENT smtp EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${documentation}/orvex-dev COMPONENT development EXCLUDE_FROM_ALL)

include(CPack)
