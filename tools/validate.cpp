// dcfsim-validate: compares simulations of simple networks with what theory says of them, one row
// of a table for each figure.
//
// Where a closed form leaves something out, a slot model stands between it and the simulation: it
// plays the contention of a cell by its rules alone, without frames, ticks or states, and its rules
// can be exchanged one by one.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "driver/state.h"
#include "driver/sweep.h"
#include "driver/tick.h"
#include "output/version.h"
#include "tools/validate_delay.h"
#include "tools/validate_seeds.h"
#include "topology/placement.h"
#include "topology/random.h"
#include "topology/traffic.h"

constexpr double PACKET_BITS = 12000.0;                     // of a packet of 1500 bytes
constexpr double DATA = 252.0;                              // ticks
constexpr double EXCHANGE = DIFS + DATA + SIFS + ACK_TICKS; // 330 ticks
constexpr double MEAN_BACKOFF = SLOT * CW_MIN / 2.0;        // of a first attempt, ticks
constexpr double CYCLE = EXCHANGE + MEAN_BACKOFF; // of a saturated pair that is alone, ticks

static int g_missed = 0; // rows beyond their tolerance
static int64_t g_seed = 0;

// Prints a row. The tolerance is relative, in percent.
static void Row(const std::string &name, double theory, double simulation, double tolerance)
{
    const double deviation = (simulation / theory - 1.0) * 100.0;
    const bool ok = std::fabs(deviation) <= tolerance;
    g_missed += ok ? 0 : 1;
    std::printf("  %-46s %10.4f %10.4f %+8.2f %%  (%.3g %%)%s\n", name.c_str(), theory, simulation,
                deviation, tolerance, ok ? "" : "  MISSED");
}

static void Head(const std::string &title)
{
    std::printf("\n%-48s %10s %10s %10s  tolerance\n", title.c_str(), "theory", "simulation",
                "deviation");
}

// Starts a load point of `ticks`, the last three quarters of which are measured.
static void Start(int64_t seed, int32_t load_kbps, uint64_t ticks)
{
    g_settings = {};
    g_settings.sim_ticks = ticks;
    g_settings.window_begin = ticks / 4;
    g_settings.window_end = ticks - 1;
    SetPacketSize(1472);
    g_seed = seed;
    g_clock = [] { return g_seed; };
    ResetRandom();
    RandInitUniform();
    SetOfferedLoad(load_kbps);
    StartLoadPoint();
}

// Places the pairs anew, `distance_m` apart.
static void PlacePairs(double distance_m)
{
    for (int i = 0; i < NODE_NUM; ++i) {
        const int pair = i / 2;
        node[i].pos_x = distance_m * pair;
        node[i].pos_y = i % 2;
        std::fill_n(node[i].connect_list, NODE_NUM, EMPTY);
        std::fill_n(node[i].interference_list, NODE_NUM, EMPTY);
    }
    CheckConnection();
}

// Queues as many packets at the first `pairs` senders as the load point can carry.
static void Saturate(int pairs)
{
    const auto packets = static_cast<int>(static_cast<double>(g_settings.sim_ticks) / EXCHANGE) + 1;
    g_plain_ticking = true; // between runs, where the fast-forward has nothing to keep up
    for (int k = 0; k < pairs * packets; ++k) {
        GenePacket(k % pairs * 2, k % pairs * 2 + 1);
    }
    g_plain_ticking = false;
}

static void Run()
{
    RunTicks(g_settings.sim_ticks);
}

// Throughput of a flow in Mbit/s.
static double Throughput(int flow)
{
    const auto window = static_cast<double>(g_settings.window_end - g_settings.window_begin + 1);
    return static_cast<double>(node[2 * flow + 1].recv_num) * PACKET_BITS / window;
}

// What contention in one cell comes to.
struct CONTENTION {
    double throughput; // Mbit/s, all pairs
    double collisions; // per transmission
};

// The rules of contention, besides backoff and retries.
struct RULES {
    bool busy_slot_counts; // a frame of another station takes one slot off the backoff as well
    bool late_colliders;   // senders of a collision start the next contention one tick late
};

// Fixed point of independent stations that see a constant collision probability, retries limited.
static CONTENTION Bianchi(int pairs)
{
    double low = 0.0;
    double high = 1.0;
    double tau = 0.0; // transmissions per slot of one station
    for (int step = 0; step < 60; ++step) {
        tau = (low + high) / 2.0;
        const double p = 1.0 - std::pow(1.0 - tau, pairs - 1);
        double attempts = 0.0;
        double slots = 0.0;
        double weight = 1.0;
        int cw = CW_MIN;
        for (int retry = 0; retry <= RETRY_LIMIT; ++retry) {
            attempts += weight;
            slots += weight * cw / 2.0;
            weight *= p;
            cw = std::min(2 * cw + 1, CW_MAX);
        }
        (attempts / (attempts + slots) > tau ? low : high) = tau;
    }
    const double idle = std::pow(1.0 - tau, pairs);
    const double success = pairs * tau * std::pow(1.0 - tau, pairs - 1);
    const double slot = idle * SLOT + (1.0 - idle) * EXCHANGE; // DATA + EIFS are 330 ticks as well
    return {success * PACKET_BITS / slot, 1.0 - std::pow(1.0 - tau, pairs - 1)};
}

// Plays `rounds` contentions of a cell.
static CONTENTION PlaySlots(int pairs, RULES rules, int rounds)
{
    struct SENDER {
        int slots, cw, retries, late;
    };
    std::mt19937_64 generator(1);
    const auto draw = [&generator](int cw) {
        return static_cast<int>(generator() % static_cast<uint64_t>(cw + 1));
    };
    std::vector<SENDER> senders(static_cast<size_t>(pairs), SENDER{0, CW_MIN, 0, 0});
    double ticks = 0.0;
    double sent = 0.0;
    double delivered = 0.0;
    for (int round = 0; round < rounds; ++round) {
        int first = INT32_MAX; // tick of the first start
        for (const SENDER &s : senders) {
            first = std::min(first, s.slots * SLOT + s.late);
        }
        const auto starts = [first](const SENDER &s) { return s.slots * SLOT + s.late == first; };
        const auto starting = std::ranges::count_if(senders, starts);
        for (SENDER &s : senders) {
            if (!starts(s)) {
                s.slots -= std::max(first - s.late, 0) / SLOT;
                s.slots -= rules.busy_slot_counts ? 1 : 0;
                s.late = 0;
                continue;
            }
            const bool again = starting > 1 && s.retries < RETRY_LIMIT;
            s.cw = again ? std::min(2 * s.cw + 1, CW_MAX) : CW_MIN;
            s.retries = again ? s.retries + 1 : 0;
            s.slots = draw(s.cw);
            s.late = starting > 1 && rules.late_colliders ? 1 : 0;
        }
        ticks += first + EXCHANGE;
        sent += static_cast<double>(starting);
        delivered += starting == 1 ? 1.0 : 0.0;
    }
    return {delivered * PACKET_BITS / ticks, 1.0 - delivered / sent};
}

// The mean of as many load points of `ticks` each.
static CONTENTION SimulateCell(int pairs, uint64_t ticks, int points)
{
    CONTENTION cell = {};
    double sent = 0.0;
    double failed = 0.0;
    for (int point = 0; point < points; ++point) {
        Start(4711 + 100'003 * point + pairs, 0, ticks);
        PlacePairs(0.0);
        Saturate(pairs);
        Run();
        for (int flow = 0; flow < pairs; ++flow) {
            cell.throughput += Throughput(flow) / points;
            sent += static_cast<double>(node[2 * flow].tx_num);
            failed += node[2 * flow].timeout_num;
        }
    }
    cell.collisions = failed / sent;
    return cell;
}

// The quantiles of the delay, and where the two distribution functions are furthest apart.
static void CompareDistributions(int32_t load_mbps, const std::vector<uint64_t> &delays)
{
    Head("A pair that is alone, delays at " + std::to_string(load_mbps) + " Mbit/s");
    const std::vector<double> theory = DelayDistribution(load_mbps / PACKET_BITS);
    const auto count = static_cast<double>(delays.size());
    constexpr double FEW = 10'000.0; // packets: their quantiles are rough
    for (const double share : {0.5, 0.95, 0.99}) {
        const auto rank = static_cast<size_t>(std::ceil(share * count)) - 1;
        Row("p" + std::to_string(static_cast<int>(std::lround(100 * share))) + ", ticks",
            QuantileOf(theory, share), static_cast<double>(delays[rank]),
            load_mbps > 20 || count < FEW ? 8.0 : 3.0);
    }
    double sum = 0.0;
    double furthest = 0.0;
    size_t at = 0;
    for (size_t k = 0; k < theory.size(); ++k) {
        sum += theory[k];
        while (at < delays.size() && delays[at] <= k) {
            ++at;
        }
        furthest = std::max(furthest, std::fabs(sum - static_cast<double>(at) / count));
    }
    // As a share of 1, so that its tolerance is in percent of all packets: what 99 % of samples of
    // independent packets keep, or more, as successive delays are alike.
    constexpr double KOLMOGOROV = 163.0;
    Row("1 + the largest distance of the two", 1.0, 1.0 + furthest,
        load_mbps > 20 ? 3.0 : std::max(1.0, KOLMOGOROV / std::sqrt(count)));
}

static void CompareAlone(uint64_t ticks)
{
    Head("A pair that is alone, mean of five");
    Start(1001, 0, ticks);
    PlacePairs(1000.0);
    Saturate(FLOW_NUM);
    Run();
    double sum = 0.0;
    for (int flow = 0; flow < FLOW_NUM; ++flow) {
        sum += Throughput(flow) / FLOW_NUM;
    }
    Row("saturated: Mbit/s", PACKET_BITS / CYCLE, sum, 0.5);
    std::vector<std::pair<int32_t, std::vector<uint64_t>>> delays;
    for (const int load_mbps : {1, 5, 15, 25}) {
        Start(2000 + load_mbps, 1000 * load_mbps, 4 * ticks);
        PlacePairs(1000.0);
        NoteDelays();
        Run();
        delays.push_back({load_mbps, NotedDelays()});
        double delay = 0.0;
        double received = 0.0;
        for (int flow = 0; flow < FLOW_NUM - 1; ++flow) { // the last one has no sum of delays
            delay += static_cast<double>(ave_delay[flow]);
            received += static_cast<double>(node[2 * flow + 1].recv_num);
        }
        // A queue with Poisson arrivals; backoff is evenly spread over CW_MIN + 1 values.
        constexpr double VARIANCE = SLOT * SLOT * (CW_MIN * (CW_MIN + 2)) / 12.0;
        const double rate = load_mbps / PACKET_BITS;
        const double wait = rate * (CYCLE * CYCLE + VARIANCE) / (2.0 * (1.0 - rate * CYCLE));
        Row(std::to_string(load_mbps) + " Mbit/s: mean delay, ticks",
            wait + DIFS + MEAN_BACKOFF + DATA, delay / received, load_mbps > 20 ? 5.0 : 2.0);
    }
    for (const auto &[load_mbps, noted] : delays) {
        CompareDistributions(load_mbps, noted);
    }
}

static void CompareCells(uint64_t ticks, int points, double noise)
{
    // What the fixed point leaves out, one step after the other: stations are not independent, and
    // two rules differ. The tolerances are in percent of throughput and of collisions.
    struct STEP {
        std::string name;
        RULES rules;
        double tolerance;
        double collision_tolerance;
    };
    const STEP steps[] = {
        {"the same by slots", {true, false}, 1.5 + noise, 6.0 + 5.0 * noise},
        {"busy slots do not count", {false, false}, 0.8 + noise, 3.0 + 5.0 * noise},
        {"colliders one tick late", {false, true}, noise, 5.0 * noise},
    };
    constexpr int ROUNDS = 1'000'000;
    for (int pairs = 2; pairs <= FLOW_NUM; ++pairs) {
        Head(std::to_string(pairs) + " saturated pairs in one cell");
        const CONTENTION simulated = SimulateCell(pairs, ticks, points);
        const CONTENTION fixed_point = Bianchi(pairs);
        Row("fixed point: Mbit/s", fixed_point.throughput, simulated.throughput, 2.0);
        Row("fixed point: collisions", fixed_point.collisions, simulated.collisions, 8.0);
        for (const STEP &step : steps) {
            const CONTENTION played = PlaySlots(pairs, step.rules, ROUNDS);
            Row(step.name + ": Mbit/s", played.throughput, simulated.throughput, step.tolerance);
            Row(step.name + ": collisions", played.collisions, simulated.collisions,
                step.collision_tolerance);
        }
    }
}

// Frames per tick of a saturated sender between two saturated pairs that do not hear each other,
// as far as it does not disturb them. Its backoff goes on only in gaps that both have in common: a
// pair is in a gap for DIFS and 0 to CW_MIN slots in every cycle. A common one begins when one pair
// gets into a gap and the other has been in one for `age` ticks. DIFS is enough there if the ACK
// just ended was received, which is the case if it began in the gap of the other pair.
static double StarvedRate()
{
    double slots = 0.0; // per tick, both pairs
    for (int own = DIFS; own <= DIFS + CW_MIN * SLOT; own += SLOT) {
        for (int other = DIFS; other <= DIFS + CW_MIN * SLOT; other += SLOT) {
            for (int age = 0; age < other; ++age) {
                const int wait = age >= ACK_TICKS ? DIFS : EIFS;
                const int common = std::min(own, other - age);
                const int passed = std::max(common - wait, 0) / SLOT;
                slots += 2.0 / CYCLE / CYCLE * passed;
            }
        }
    }
    constexpr double COMBINATIONS = (CW_MIN + 1.0) * (CW_MIN + 1.0);
    return slots / COMBINATIONS * SLOT / MEAN_BACKOFF;
}

// Two flows that the layout makes equal, over many seeds.
struct TWINS {
    int flow;
    int twin;
    double difference; // sums over the seeds
    double squares;
};

static void CompareExperiment(int32_t load_mbps, uint64_t ticks, int seeds)
{
    Head("The experiment at " + std::to_string(load_mbps) + " Mbit/s, " + std::to_string(seeds) +
         " seeds");
    double mean[FLOW_NUM] = {};
    TWINS pairs[] = {{0, 4, 0.0, 0.0}, {1, 3, 0.0, 0.0}};
    for (int seed = 0; seed < seeds; ++seed) {
        Start(100'000 + 7'654'321 * seed, 1000 * load_mbps, ticks);
        Run();
        for (int flow = 0; flow < FLOW_NUM; ++flow) {
            mean[flow] += Throughput(flow) / seeds;
        }
        for (TWINS &pair : pairs) {
            const double difference = Throughput(pair.twin) - Throughput(pair.flow);
            pair.difference += difference;
            pair.squares += difference * difference;
        }
    }
    for (const TWINS &pair : pairs) {
        // The tolerance is the 99 % confidence interval of the mean difference.
        constexpr double QUANTILE = 2.8; // Student's distribution: 2.86 for 20 seeds, 2.71 for 40
        const double variance =
            (pair.squares - pair.difference * pair.difference / seeds) / (seeds - 1.0);
        const double half = QUANTILE * std::sqrt(variance / seeds);
        Row("flow " + std::to_string(pair.twin) + " against flow " + std::to_string(pair.flow) +
                ": Mbit/s",
            mean[pair.flow], mean[pair.twin], 100.0 * half / mean[pair.flow]);
    }
    if (load_mbps == 35) {
        constexpr double ALONE = PACKET_BITS / CYCLE;
        constexpr double COST = EXCHANGE / PACKET_BITS; // share of time per Mbit/s of a neighbour
        Row("flow 1 in the common gaps of 0 and 2: Mbit/s", StarvedRate() * PACKET_BITS, mean[1],
            30.0);
        Row("flow 0, alone less flow 1: Mbit/s", ALONE * (1.0 - COST * mean[1]), mean[0], 4.0);
        Row("flow 2, alone less flows 1 and 3: Mbit/s", ALONE * (1.0 - COST * (mean[1] + mean[3])),
            mean[2], 4.0);
    }
}

static const char USAGE[] =
    "Usage: dcfsim-validate [--quick | --seeds]\n"
    "Simulates networks that theory can reckon: a pair that is alone, saturated pairs in one\n"
    "cell, the published experiment at two loads. Prints a row for each figure: theory,\n"
    "simulation, how far they are apart, and how far they may be. Takes about 20 s.\n\n"
    "      --quick    shorter runs with wider tolerances, 2 s\n"
    "      --seeds    instead: do runs that draw the same numbers take the same course, and\n"
    "                 replications not? About 35 s\n"
    "  -h, --help     show this help\n"
    "  -V, --version  show version and commit\n\n"
    "The exit status is 0 if every figure is within its tolerance, 1 if one is not, memory is\n"
    "short or the table cannot be written, and 2 if the command line is wrong.\n";

static int FailWith(int status, const std::string &why)
{
    std::fprintf(stderr, "dcfsim-validate: %s\n", why.c_str());
    return status;
}

static void CompareNetworks(bool quick)
{
    CompareAlone(quick ? 4'000'000 : 30'000'000);
    CompareCells(quick ? 10'000'000 : 30'000'000, quick ? 1 : 6, quick ? 0.8 : 0.3);
    for (const int32_t load_mbps : {10, 35}) {
        CompareExperiment(load_mbps, quick ? 1'000'000 : 10'000'000, quick ? 20 : 40);
    }
    std::printf("\n%d figures beyond their tolerance\n", g_missed);
}

int main(int argc, char **argv)
{
    bool quick = false;
    bool seeds = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (AnswerHelpOrVersion(argument, "dcfsim-validate", USAGE)) {
            return 0;
        }
        quick = quick || argument == "--quick";
        seeds = seeds || argument == "--seeds";
        if (argument != "--quick" && argument != "--seeds") {
            return FailWith(2, "takes no argument '" + std::string(argument) +
                                   "'; try 'dcfsim-validate --help'");
        }
    }
    if (quick && seeds) {
        return FailWith(2, "--quick and --seeds exclude each other; leave one out");
    }
    if (!AllocateState()) {
        return FailWith(1, "memory is short; end other programs");
    }
    if (seeds) {
        g_missed = CompareSeeds();
    } else {
        CompareNetworks(quick);
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        return FailWith(1, "standard output: the table cannot be written; is the disk full?");
    }
    return g_missed == 0 ? 0 : 1;
}
