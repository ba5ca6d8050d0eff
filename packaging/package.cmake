# What cpack makes of a build: a Debian package, and an archive of the sources.
#
#     cpack --config build/release/CPackConfig.cmake          a .deb in build/release
#     cpack --config build/release/CPackSourceConfig.cmake    a .tar.gz of the last commit there
#
# The same commit gives the same bytes: what is left of the clock and the machine after the build is
# taken out here and in the scripts beside this file, which cpack runs. Only the umask of the caller
# shows: 022 is the usual one.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR})
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_SOURCE_DIR}/packaging/begin.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/packaging/stage.cmake)
set(CPACK_DCFSIM_SOURCE_DIR ${CMAKE_SOURCE_DIR})
set(CPACK_DCFSIM_BINARY_DIR ${CMAKE_BINARY_DIR})
set(CPACK_DCFSIM_LEFT_OUT "${left_out}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "dcfsim developers <dcfsim@dcfsim.invalid>") # no address yet
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "simulator of an IEEE 802.11a DCF network, with tools")
set(CPACK_PACKAGE_DESCRIPTION_FILE ${CMAKE_SOURCE_DIR}/packaging/description.txt)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "gnuplot-nox")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "parallel")

# Copied by begin.cmake, which takes the tracked files alone.
set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME dcfsim-${PROJECT_VERSION})
set(CPACK_SOURCE_INSTALLED_DIRECTORIES "${CMAKE_BINARY_DIR}/_CPack_Packages/tracked;/")
set(CPACK_SOURCE_IGNORE_FILES "")
include(CPack)
