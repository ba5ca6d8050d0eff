#include "tools/validate_delay.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "driver/observer.h"
#include "driver/state.h"

constexpr size_t DATA = 252;                                // ticks
constexpr size_t EXCHANGE = DIFS + DATA + SIFS + ACK_TICKS; // without backoff
constexpr size_t SLOTS = CW_MIN + 1;                        // values that a backoff takes

// A packet waits for the rest of the service that goes on when it arrives, and for those of the
// packets in front of it. By Pollaczek and Khinchine the wait is the sum of n such rests, with
// probability (1 - rho) rho^n. With R(j) the probability that a rest takes j ticks, the wait takes
// k with
//
//     w(k) = (1 - rho) [k = 0] + rho (R(0) w(k) + R(1) w(k - 1) + ... + R(k) w(0))
static std::vector<double> WaitDistribution(double rate)
{
    constexpr size_t LONGEST = 60'000; // ticks; longer waits have no weight below 90 % load
    constexpr size_t SERVICE = EXCHANGE + SLOT * CW_MIN;
    double rest[SERVICE] = {};
    for (size_t j = 0; j < SERVICE; ++j) { // rate * P(S > j), which adds up to rho
        const size_t over = j < EXCHANGE ? 0 : (j - EXCHANGE) / SLOT + 1;
        rest[j] = rate * static_cast<double>(SLOTS - over) / static_cast<double>(SLOTS);
    }
    double rho = 0.0;
    for (const double part : rest) {
        rho += part;
    }
    std::vector<double> wait(LONGEST);
    for (size_t k = 0; k < LONGEST; ++k) {
        double sum = k == 0 ? 1.0 - rho : 0.0;
        for (size_t j = 1; j <= std::min(k, SERVICE - 1); ++j) {
            sum += rest[j] * wait[k - j];
        }
        wait[k] = sum / (1.0 - rest[0]);
    }
    return wait;
}

std::vector<double> DelayDistribution(double rate)
{
    const std::vector<double> wait = WaitDistribution(rate);
    std::vector<double> delay(wait.size() + EXCHANGE + SLOT * SLOTS);
    for (size_t k = 0; k < wait.size(); ++k) {
        for (size_t slots = 0; slots < SLOTS; ++slots) {
            delay[k + DIFS + SLOT * slots + DATA] += wait[k] / static_cast<double>(SLOTS);
        }
    }
    return delay;
}

double QuantileOf(const std::vector<double> &distribution, double share)
{
    double sum = 0.0;
    size_t k = 0;
    for (; k < distribution.size() && sum < share; ++k) {
        sum += distribution[k];
    }
    return static_cast<double>(k) - 1.0;
}

static std::vector<uint64_t> g_delays;

static void Note(NOTE note, int, const PACKET &packet)
{
    if (note == NOTE_DELIVER && InWindow()) {
        g_delays.push_back(g_sim_time - packet.gen_time);
    }
}

void NoteDelays()
{
    static const OBSERVER observer = {[](int32_t, int32_t) {}, Note, [] {}};
    g_delays.clear();
    g_observer = &observer;
}

std::vector<uint64_t> NotedDelays()
{
    g_observer = nullptr;
    std::sort(g_delays.begin(), g_delays.end());
    return std::exchange(g_delays, {});
}
