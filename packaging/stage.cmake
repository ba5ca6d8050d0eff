# Run by cpack between the installation into its own folder and the package: what Debian wants
# beside the installed files.
if(NOT CPACK_GENERATOR STREQUAL DEB)
    return()
endif()
set(root ${CPACK_TEMPORARY_DIRECTORY}${CPACK_PACKAGING_INSTALL_PREFIX})
set(doc ${root}/share/doc/dcfsim)

# Neither name nor time of the file go into it.
function(compress)
    execute_process(COMMAND gzip -9nf ${ARGN} RESULT_VARIABLE status)
    if(status)
        message(FATAL_ERROR "gzip ${ARGN}: ${status}; is the disk full?")
    endif()
endfunction()

file(GLOB pages ${root}/share/man/man1/*.1)
compress(${pages})
# The name that Debian has for it; links to it follow.
file(RENAME ${doc}/CHANGELOG.md ${doc}/changelog)
file(READ ${doc}/README.md readme)
string(REPLACE "](CHANGELOG.md)" "](changelog.gz)" readme "${readme}")
file(WRITE ${doc}/README.md "${readme}")

string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC) # of SOURCE_DATE_EPOCH
file(WRITE ${doc}/changelog.Debian
    "dcfsim (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium\n\n"
    "  * Version ${CPACK_PACKAGE_VERSION}; changelog.gz tells what is new.\n\n"
    " -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")
compress(${doc}/changelog ${doc}/changelog.Debian)
file(MAKE_DIRECTORY ${root}/share/lintian/overrides)
file(COPY_FILE ${CPACK_DCFSIM_SOURCE_DIR}/packaging/lintian-overrides
    ${root}/share/lintian/overrides/dcfsim)

# The programs contain code of two libraries whose terms have to go along.
file(READ ${CPACK_DCFSIM_SOURCE_DIR}/packaging/copyright text)
foreach(library libcli11-dev nlohmann-json3-dev)
    set(terms /usr/share/doc/${library}/copyright)
    if(EXISTS ${terms})
        file(READ ${terms} part)
        string(APPEND text "\n\n-- ${library} --\n\n${part}")
    elseif(EXISTS ${root}/bin/dcfsim-experiment)
        message(WARNING "${terms} is missing: the terms of that library will not be in the package")
    endif()
endforeach()
file(WRITE ${doc}/copyright "${text}")

# Whatever the umask of the caller.
set(plain OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
set(executable ${plain} OWNER_EXECUTE GROUP_EXECUTE WORLD_EXECUTE)
file(CHMOD_RECURSE ${root} PERMISSIONS ${executable})
file(CHMOD_RECURSE ${root}/share FILE_PERMISSIONS ${plain} DIRECTORY_PERMISSIONS ${executable})
