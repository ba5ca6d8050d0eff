#include "tools/experiment_list.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tools/experiment_file.h"
#include "tools/options.h"

namespace fs = std::filesystem;

// The folder of the experiments, wherever the program has been moved to with it: as they are
// installed, else where the build has a link to those of the sources. The path of the sources is in
// no program, so that the same sources give the same bytes anywhere.
static fs::path Folder()
{
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    const fs::path installed = program.parent_path() / DCFSIM_EXPERIMENTS_FROM_PROGRAM;
    if (error || fs::is_directory(installed, error)) {
        return installed.lexically_normal();
    }
    const fs::path linked = fs::canonical(program.parent_path() / "experiments", error);
    return error ? installed.lexically_normal() : linked;
}

// The shorter way to name a file: from here on, if it lies below.
static std::string Named(const fs::path &file)
{
    std::error_code error;
    const fs::path near = fs::proximate(file, error);
    return error || near.empty() || *near.begin() == ".." ? file.string() : near.string();
}

int ListExperiments(const char *program)
{
    const fs::path folder = Folder();
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        if (at->path().extension() == ".json") {
            files.push_back(at->path());
        }
    }
    if (error || files.empty()) {
        return Fail(program, folder.string() + ": no experiments can be found" +
                                 (error ? ": " + error.message() : "") +
                                 "; allowed: any experiment, named by its file");
    }
    std::ranges::sort(files);
    size_t widest = 0;
    for (const fs::path &file : files) {
        widest = std::max(widest, Named(file).size());
    }
    int status = 0;
    const auto settings = std::make_unique<SETTINGS>();
    for (const fs::path &file : files) {
        const std::string name = Named(file);
        const std::string why = ReadExperiment(name, *settings);
        if (!why.empty()) {
            status = Fail(program, why);
            continue;
        }
        const char *title = settings->title[0] != '\0' ? settings->title : "(without a title)";
        std::printf("%-*s  %s\n", static_cast<int>(widest), name.c_str(), title);
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        return Fail(program, "standard output cannot be written");
    }
    return status;
}
