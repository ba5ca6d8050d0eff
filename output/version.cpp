#include "output/version.h"

#include "output/commit.h"

const char *ProgramVersion()
{
    return DCFSIM_VERSION;
}

const char *ProgramCommit()
{
    return DCFSIM_COMMIT;
}

const char *ProgramCompiler()
{
    return DCFSIM_COMPILER;
}

std::string VersionText(const std::string &program)
{
    return program + " " + ProgramVersion() + " (" + ProgramCommit() + ")";
}
