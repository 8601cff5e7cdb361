# Adds to the staged tree what Debian wants of a package: its copyright file, changelog and lintian
# overrides, and compressed pages.

set(usr ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr)
set(doc ${usr}/share/doc/splicora)
set(overrides ${usr}/share/lintian/overrides)
file(MAKE_DIRECTORY ${doc} ${overrides})
file(COPY ${CPACK_SPLICORA_DEBIAN_DIR}/copyright DESTINATION ${doc})
file(COPY_FILE ${CPACK_SPLICORA_DEBIAN_DIR}/changelog ${doc}/changelog.Debian)
file(COPY_FILE ${CPACK_SPLICORA_DEBIAN_DIR}/lintian-overrides ${overrides}/splicora)
file(CHMOD ${doc}/copyright ${doc}/changelog.Debian ${overrides}/splicora
    PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
execute_process(COMMAND gzip -9n ${doc}/changelog.Debian ${usr}/share/man/man1/splicora.1
    COMMAND_ERROR_IS_FATAL ANY)
