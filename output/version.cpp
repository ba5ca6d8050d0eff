#include "output/version.h"

#include <cstdio>

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

bool AnswerHelpOrVersion(std::string_view argument, const char *program, const char *usage)
{
    if (argument == "--help" || argument == "-h") {
        std::fputs(usage, stdout);
        return true;
    }
    if (argument == "--version" || argument == "-V") {
        std::puts(VersionText(program).c_str());
        return true;
    }
    return false;
}
