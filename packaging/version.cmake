# What programs say of themselves with --version, as library dcfsim_version, for all projects here.
get_filename_component(root ${CMAKE_CURRENT_LIST_DIR} DIRECTORY)

# The commit is that of every build, not of the configuration.
set(commit_header ${CMAKE_BINARY_DIR}/generated/output/commit.h)
set(write_commit sh -c "export GIT_DIR='${root}/.git' GIT_OPTIONAL_LOCKS=0 && \
export GIT_WORK_TREE='${root}' && \
commit=$(git rev-parse --short=12 HEAD 2>/dev/null || \
sed -n 's/^commit: \\([0-9a-f]\\{12\\}\\).*/\\1/p' '${root}/packaging/commit.txt') && \
commit=\"\${commit:-unknown}\" && \
[ -z \"$(git status --porcelain -uno 2>/dev/null)\" ] || commit=$commit-dirty && \
line=\"#define DCFSIM_COMMIT \\\"$commit\\\"\" && \
mkdir -p '${CMAKE_BINARY_DIR}/generated/output' && \
[ \"$line\" = \"$(cat '${commit_header}' 2>/dev/null)\" ] || echo \"$line\" >'${commit_header}'")
execute_process(COMMAND ${write_commit})
add_custom_target(dcfsim_commit BYPRODUCTS ${commit_header} COMMAND ${write_commit} VERBATIM)

# The version, also for programs without the model.
add_library(dcfsim_version STATIC ${root}/output/version.cpp)
add_dependencies(dcfsim_version dcfsim_commit)
target_include_directories(dcfsim_version PRIVATE ${CMAKE_BINARY_DIR}/generated)
target_compile_definitions(dcfsim_version PRIVATE DCFSIM_VERSION="${PROJECT_VERSION}"
    DCFSIM_COMPILER="${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION}")
