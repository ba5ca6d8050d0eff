# Run by cpack before anything else: are its helpers there, which time do the files get, and for the
# sources, which files.
set(source ${CPACK_DCFSIM_SOURCE_DIR})

function(require program package)
    find_program(found_${program} ${program} NO_CMAKE_SYSTEM_PATH)
    if(NOT found_${program})
        message(FATAL_ERROR "${program} is missing, which the package is made with; "
            "please run: "
            "apt-get install -y --no-install-recommends ${package}")
    endif()
endfunction()

# The time of the commit, unless the caller wants another one; see packaging/commit.txt for an
# archive of the sources.
if("$ENV{SOURCE_DATE_EPOCH}" STREQUAL "")
    execute_process(COMMAND git --git-dir=${source}/.git log -1 --format=%ct
        OUTPUT_VARIABLE time ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT time MATCHES "^[0-9]+$")
        file(STRINGS ${source}/packaging/commit.txt time REGEX "^time: [0-9]+$")
        string(REPLACE "time: " "" time "${time}")
    endif()
    if(NOT time)
        message(FATAL_ERROR "${source}: neither a checkout nor an archive of one, so the package "
            "has no time; please set SOURCE_DATE_EPOCH to seconds since 1970")
    endif()
    set(ENV{SOURCE_DATE_EPOCH} ${time})
endif()

if(CPACK_INSTALL_CMAKE_PROJECTS)
    if(CPACK_GENERATOR STREQUAL DEB)
        require(dpkg-shlibdeps dpkg-dev)
        require(file file)
        require(gzip gzip)
        if(CPACK_DCFSIM_LEFT_OUT)
            message(WARNING "The package lacks what the build left out: ${CPACK_DCFSIM_LEFT_OUT}")
        endif()
    endif()
else()
    set(tracked ${CPACK_DCFSIM_BINARY_DIR}/_CPack_Packages/tracked)
    file(REMOVE_RECURSE ${tracked})
    file(MAKE_DIRECTORY ${tracked})
    execute_process(COMMAND git --git-dir=${source}/.git archive --format=tar HEAD
        COMMAND tar -x -C ${tracked} RESULTS_VARIABLE results)
    if(NOT results STREQUAL "0;0")
        message(FATAL_ERROR "${source}: the sources can only be packed from a git checkout")
    endif()
    execute_process(
        COMMAND git --git-dir=${source}/.git --work-tree=${source} status --porcelain -uno
        OUTPUT_VARIABLE changed)
    if(changed)
        message(WARNING "The archive is that of the last commit, without what was changed since:\n"
            "${changed}")
    endif()
endif()
