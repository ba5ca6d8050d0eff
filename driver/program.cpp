#include "driver/program.h"

#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "driver/state.h"
#include "driver/sweep.h"
#include "output/files.h"
#include "output/manifest.h"
#include "topology/random.h"

constexpr mode_t DIRECTORY_MODE = 0755;

// Directory of the published layout, whose name results keep whatever the stations do.
static std::string DesignDirectory(const std::string &out)
{
    return out + "/" + std::to_string(NODE_NUM) + "node_design";
}

std::string ResultDirectory(const std::string &out)
{
    return DesignDirectory(out) + "/" + std::to_string(PACKET_PAYLOAD_LENGTH);
}

static bool g_is_open; // all result files could be opened

void OpenPacketSize(int32_t data_length, const std::string &out)
{
    SetPacketSize(data_length);
    const std::string size_dir = ResultDirectory(out);
    std::puts(size_dir.c_str());
    mkdir(size_dir.c_str(), DIRECTORY_MODE);
    mkdir((size_dir + "/fig").c_str(), DIRECTORY_MODE);
    // What dcfsim-experiment has left beside older results, and hashes of these, fit no more.
    unlink((size_dir + "/SHA256SUMS").c_str());
    unlink((size_dir + "/flows.csv").c_str());
    g_is_open = fileopen(size_dir.c_str());
    load = g_settings.load_num - 1;
    std::printf("load=%d\n", load);
    // Room for every load point and the zero row that the closing tables print behind the last one.
    const auto records = static_cast<size_t>(load) + 2;
    result = static_cast<RESULT *>(std::calloc(records, sizeof(RESULT)));
    if (result == nullptr) {
        std::exit(1);
    }
}

bool ClosePacketSize()
{
    std::free(result);
    result = nullptr;
    return fileclose() && g_is_open;
}

bool RunPacketSize(int32_t data_length, const std::string &out)
{
    OpenPacketSize(data_length, out);
    simulation();
    return ClosePacketSize();
}

// Keeps the descriptors of the standard streams taken. With standard output closed, the first
// result file would get its descriptor, and with it all that is printed.
static void OccupyStandardStreams()
{
    int descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = open("/dev/null", O_RDWR);
    }
    if (descriptor >= 0) {
        close(descriptor);
    }
}

// Tells that something beside the results went wrong; the run goes on.
static void Warn(const std::string &why)
{
    if (!why.empty()) {
        std::fprintf(stderr, "dcfsim: %s; the run goes on without it\n", why.c_str());
    }
}

void FixSeed()
{
    if (g_settings.seed == SEED_FROM_CLOCK) {
        g_settings.seed = g_clock();
    }
}

int RunProgram()
{
    constexpr int32_t FIRST_DATA_LENGTH = 1472; // bytes
    constexpr int32_t LAST_DATA_LENGTH = 1472;
    constexpr int32_t DATA_LENGTH_STEP = 100;
    const std::string out = "./result";
    OccupyStandardStreams();
    std::puts("-----------------");
    std::puts(" VEX LOOM TARN");
    std::puts("-----------------");
    // A directory that cannot be made shows when the files in it cannot be opened.
    mkdir(out.c_str(), DIRECTORY_MODE);
    std::printf("NODEのサイズは %lu byte\n", static_cast<unsigned long>(sizeof(NODE)));
    std::printf("RESULTのサイズは %lu byte\n", static_cast<unsigned long>(sizeof(RESULT)));
    mkdir(DesignDirectory(out).c_str(), DIRECTORY_MODE);
    FixSeed();
    Warn(BeginManifest(out + "/manifest.json", "dcfsim"));
    bool is_written = true;
    for (int32_t length = FIRST_DATA_LENGTH; length <= LAST_DATA_LENGTH;
         length += DATA_LENGTH_STEP) {
        is_written = RunPacketSize(length, out) && is_written;
    }
    Warn(EndManifest(is_written));
    return 0;
}
