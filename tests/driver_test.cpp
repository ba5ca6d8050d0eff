// Starting state, resets, bookkeeping; the queue, the log and the closed sum against their plain
// forms.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <random>
#include <vector>

#include <unistd.h>

#include "driver/bookkeeping.h"
#include "driver/repeated_sum.h"
#include "driver/station.h"
#include "tests/model_fixture.h"

using DriverTest = ModelTest;

static bool IsAllZero(const void *begin, size_t size)
{
    const auto *byte = static_cast<const unsigned char *>(begin);
    return std::all_of(byte, byte + size, [](unsigned char b) { return b == 0; });
}

TEST_F(DriverTest, InitNodeLeavesOnlyTheNamedFieldsOffZero)
{
    constexpr int OLD = 0x5A;
    NODE &own = node[3];
    const size_t front = offsetof(NODE, rx_frame);
    const size_t back = offsetof(NODE, rx_flag);
    memset(&own, OLD, front);
    memset(&own.rx_frame, OLD, sizeof own.rx_frame);
    memset(&own.buffer.head, OLD, sizeof own.buffer.head);
    memset(&own.rx_flag, OLD, sizeof(NODE) - back);
    InitNode(3);

    EXPECT_EQ(own.cw, 15);
    EXPECT_EQ(own.backoff, 9U * static_cast<unsigned>(own.backoff_slots));
    EXPECT_EQ(own.backoff_draws, 1);
    EXPECT_EQ(own.same_start_num, 1U);
    own.cw = own.backoff_slots = own.backoff_draws = 0;
    own.backoff = own.same_start_num = 0;
    const auto fill_empty = [](auto &field) {
        std::array<unsigned char, sizeof field> empty;
        empty.fill(0xFF);
        EXPECT_EQ(memcmp(&field, empty.data(), empty.size()), 0);
        memset(&field, 0, sizeof field);
    };
    fill_empty(own.connect_list);
    fill_empty(own.interference_list);
    fill_empty(own.table);
    fill_empty(own.signal_list);
    EXPECT_TRUE(IsAllZero(&own, front));
    EXPECT_TRUE(IsAllZero(&own.rx_flag, sizeof(NODE) - back));

    for (const PACKET *packet : {&own.rx_frame, &own.buffer.head}) {
        for (int32_t value : {packet->type, packet->src, packet->dst, packet->sender,
                              packet->receiver, packet->seq, packet->corrupt}) {
            EXPECT_EQ(value, -1);
        }
        EXPECT_EQ(packet->nav_value + packet->duration + packet->payload_time, 0);
        EXPECT_EQ(packet->age_base, 0U);
        for (uint64_t value : {packet->gen_time, packet->hop_time, packet->tx_start, packet->id}) {
            EXPECT_EQ(value, 0x5A5A5A5A5A5A5A5AU); // outlives the load point
        }
    }
    EXPECT_TRUE(IsAllZero(&node[NODE_NUM], offsetof(NODE, rx_frame))); // the spare record
}

TEST_F(DriverTest, DrawsOfInitAndReset)
{
    // The first draw ends at 14 slots, later ones at cw; resets of kind 0 that draw 15 are counted.
    std::array<int, 16> seen{};
    for (int i = 0; i < 2000; ++i) {
        InitNode(0);
        ASSERT_LE(node[0].backoff_slots, 14);
        ++seen[static_cast<size_t>(node[0].backoff_slots)];
    }
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 0), 1);
    const int32_t counted = count_cw;
    int fifteens = 0;
    for (int i = 0; i < 2000; ++i) {
        node[0].cw = 7;
        ResetNode(0, RESET_RETRY); // cw 15 again: its draws of 15 do not count
        ResetNode(0, RESET_DONE);
        ASSERT_LE(node[0].backoff_slots, 15);
        fifteens += node[0].backoff_slots == 15 ? 1 : 0;
        node[0].retry_count = 0;
    }
    EXPECT_GT(fifteens, 0);
    EXPECT_EQ(count_cw - counted, fifteens);
}

TEST_F(DriverTest, ResetKindsChangeWhatTheyName)
{
    const struct {
        int kind, retry, cw_after, retry_after, draws_after, flag_after;
        uint64_t now, age_after;
    } cases[] = {
        {RESET_DONE, 0, 15, 0, 6, 0, 50, 50},  // finished: access counts from now
        {RESET_DONE, 0, 15, 0, 6, 0, 49, 7},   // the same before the window
        {RESET_DONE, 2, 63, 2, 6, 0, 50, 7},   // the caller has not cleared the retries
        {RESET_RETRY, 2, 127, 3, 6, 0, 50, 7}, // cw = (63 + 1) * 2 - 1
        {RESET_RESUME, 2, 63, 2, 5, 0, 50, 7}, {RESET_KEEP, 2, 63, 2, 5, 1, 50, 7},
    };
    for (const auto &c : cases) {
        for (const int queued : {0, 1}) {
            SCOPED_TRACE(testing::Message() << "kind " << c.kind << " queued " << queued);
            NODE &own = node[0];
            g_settings.window_begin = 50;
            g_sim_time = c.now;
            own.state = STATE_TDAT;
            own.buffer_num = queued;
            own.buffer[0].age_base = 7;
            own.timer = own.nav = own.difs_idle_num = 7;
            own.idle_count = own.rx_count = 7;
            own.cw = 63;
            own.backoff = 27;
            own.backoff_draws = 5;
            own.backoff_slot_sum = 100;
            own.retry_count = c.retry;
            own.rx_flag = 1;
            ResetNode(0, 4);
            EXPECT_EQ(own.state, STATE_TDAT); // no such kind
            ResetNode(0, c.kind);
            EXPECT_EQ(own.state, queued == 1 ? STATE_DCW : STATE_IDLE);
            EXPECT_EQ(own.timer + own.nav + own.difs_idle_num, 0);
            EXPECT_EQ(own.idle_count + own.rx_count, 0U);
            EXPECT_EQ(own.cw, c.cw_after);
            EXPECT_EQ(own.retry_count, c.retry_after);
            EXPECT_EQ(own.backoff_draws, c.draws_after);
            EXPECT_EQ(own.rx_flag, c.flag_after);
            EXPECT_EQ(own.buffer[0].age_base, queued == 1 ? c.age_after : 7);
            const int slots = own.backoff_slots;
            EXPECT_EQ(own.backoff_slot_sum, c.draws_after == 6 ? 100 + slots : 100);
            EXPECT_EQ(own.backoff, c.draws_after == 6 ? 9U * static_cast<unsigned>(slots) : 27U);
        }
    }
}

TEST_F(DriverTest, Bookkeeping)
{
    const int32_t timers[] = {-3, 0, 1, 2};
    const int32_t aged[] = {-3, 0, 0, 1};
    for (int i = 0; i < 4; ++i) {
        node[i].timer = node[i].nav = timers[i];
        node[i].state = STATE_RDAT;
        node[i].rx_flag = 1;
    }
    DecrementTimerAll();
    DecrementNavAll();
    for (int i = 0; i < 4; ++i) {
        const bool ended = timers[i] == 1; // resets; a NAV that stood at 0 does not
        EXPECT_EQ(node[i].nav, aged[i]);
        EXPECT_EQ(node[i].timer, aged[i]);
        EXPECT_EQ(node[i].state, ended ? STATE_IDLE : STATE_RDAT);
        EXPECT_EQ(node[i].rx_flag, ended ? 0 : 1);
    }

    g_settings.window_begin = 100;
    g_settings.window_end = 101;
    node[0].buffer_num = 3;
    for (g_sim_time = 98; g_sim_time < 104; ++g_sim_time) {
        CountBufferAll();
    }
    EXPECT_EQ(node[0].buffer_avg,
              3 / 3e7 + 3 / 3e7); // both ends count; divided by the round number

    node[0].signal_num = 4;
    for (int i = 0; i < 5; ++i) {
        node[0].signal_list[i].frame_no = i;
    }
    ArrangeArray(0, node[0].signal_list, 3); // the last one: nothing to move
    ArrangeArray(0, node[0].signal_list, 1);
    const int64_t frames[] = {0, 2, 3, 3, 4};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(node[0].signal_list[i].frame_no, frames[i]);
    }
}

TEST_F(DriverTest, OfferedLoadAndPacketSize)
{
    EXPECT_EQ(g_interval, INT32_MIN); // no load: the gap is infinite
    SetOfferedLoad(7000);
    EXPECT_EQ(g_ariv_rate, 7.0 / 12000.0);
    EXPECT_EQ(g_interval, 1714); // 12000 / 7, cut
    EXPECT_EQ(g_interval2, 400);
    EXPECT_EQ(PACKET_PAYLOAD_LENGTH, 1500);
    EXPECT_EQ(DAT_LENGTH, 248);  // ((1500 + 38) * 8 + 221) / 216 = 57; (57 + 5) * 4
    EXPECT_EQ(DataTicks(), 252); // ((1500 + 4) * 8 + 221) / 216 = 56; (56 + 7) * 4
    EXPECT_EQ(PayloadTicks(), 224);
}

TEST_F(DriverTest, ProgramAnnouncesTheLoadInPacketsPerMillisecond)
{
    namespace fs = std::filesystem;
    const fs::path here = fs::current_path();
    const fs::path dir = fs::path(testing::TempDir()) / ("driver_test" + std::to_string(getpid()));
    fs::create_directories(dir);
    fs::current_path(dir);
    FreeState(); // the program takes its own
    g_settings.trial_num = 1;
    g_settings.load_max_kbps = 6000;
    g_settings.load_step_kbps = 6000;
    g_settings.sim_ticks = 100;
    testing::internal::CaptureStdout();
    RunProgram();
    const std::string out = testing::internal::GetCapturedStdout();
    fs::current_path(here);
    fs::remove_all(dir);
    // 6 Mbit/s are 500 packets of 12000 bits per second.
    EXPECT_NE(out.find("λ(pkt/sec) = 0.500000\tload = 6.000000\n"), std::string::npos);
    EXPECT_NE(out.find("0%|    |    |100%\n  |=========|\n"), std::string::npos);
}

// The queue as an array that moves up by one at every removal.
struct PLAIN_QUEUE {
    std::vector<PACKET> slot;
    int num = 0;

    explicit PLAIN_QUEUE(int limit) : slot(static_cast<size_t>(limit) + 1)
    {
    }

    PACKET &At(int i)
    {
        return slot[static_cast<size_t>(i)];
    }

    void RemoveHead()
    {
        std::copy(slot.begin() + 1, slot.begin() + std::max(num, 1), slot.begin());
        num -= num > 0 ? 1 : 0;
    }
};

static bool IsSame(const PACKET &a, PACKET b, bool with_hop_time)
{
    b.hop_time = with_hop_time ? b.hop_time : a.hop_time;
    return memcmp(&a, &b, sizeof a) == 0;
}

TEST_F(DriverTest, QueueEqualsAShiftingArray)
{
    constexpr int LIMIT = 60;
    constexpr int STEPS = 700'000; // enough for the ring and the table of changes to run full
    std::mt19937_64 rng(1);
    PLAIN_QUEUE plain(LIMIT);
    QUEUE &queue = node[2].buffer;
    int32_t &num = node[2].buffer_num;
    memset(&queue.head, 0, sizeof queue.head);
    InitQueue(2);
    for (PACKET &packet : plain.slot) {
        InitPacket(&packet);
    }
    for (int step = 0; step < STEPS; ++step) {
        const auto draw = rng();
        // Ids repeat, as those of packets created outside the window do; many name no packet.
        const uint64_t id = draw % 4 != 0 ? draw >> 8 & 7 : draw >> 8;
        PACKET packet{};
        packet.seq = step;
        packet.receiver = static_cast<int32_t>(draw >> 40 & 15);
        packet.id = id;
        packet.hop_time = draw;
        // Long stretches between half full and full, then long ones around empty.
        const int low = step % 350'000 < 300'000 ? LIMIT / 2 : 0;
        const auto kind = draw >> 32 & 7;
        if (kind < 3 && num < (low > 0 ? LIMIT : 4)) {
            AppendPacket(2, packet);
            plain.At(plain.num++) = packet;
        } else if (kind < 6 && num >= low) {
            RemoveHead(2);
            plain.RemoveHead();
        } else if (kind == 6) {
            queue[num] = packet; // a delivered frame is left behind the last packet
            plain.At(plain.num) = packet;
        } else {
            SetHopTime(2, id, static_cast<uint64_t>(step));
            for (PACKET &other : plain.slot) {
                other.hop_time = other.id == id ? static_cast<uint64_t>(step) : other.hop_time;
            }
        }
        ASSERT_EQ(num, plain.num);
        ASSERT_TRUE(IsSame(queue[0], plain.At(0), true)) << step;
        for (int i = 1; i < num && step % 64 == 0; ++i) {
            ASSERT_TRUE(IsSame(queue[i], plain.At(i), false)) << step << " " << i;
        }
        if (step % 350'000 == 349'999) {
            InitQueue(2);
            std::for_each(plain.slot.begin(), plain.slot.end(), [](PACKET &p) { InitPacket(&p); });
            plain.num = 0;
        }
    }
}

TEST_F(DriverTest, LogEqualsAWalkedOne)
{
    g_settings.log_limit = 64;
    std::mt19937 rng(2);
    std::vector<PACKET> plain(64);
    int plain_num = 0;
    int wraps = 0;
    int duplicates = 0;
    for (int step = 0; step < 20'000; ++step) {
        PACKET frame{};
        frame.src = static_cast<int32_t>(rng() % 3);
        // Neighbouring numbers, and some that share their place in the table with these.
        frame.seq = static_cast<int32_t>(rng() % 40 + (rng() % 4 == 0 ? LOG_SLOTS : 0));
        const bool known =
            std::any_of(plain.begin(), plain.begin() + plain_num, [&frame](const PACKET &p) {
                return p.src == frame.src && p.seq == frame.seq;
            });
        ASSERT_EQ(HasLogged(2, frame), known) << step;
        duplicates += known ? 1 : 0;
        if (!known) {
            LogFrame(2, frame);
            wraps += plain_num == 64 ? 1 : 0;
            plain_num = plain_num == 64 ? 0 : plain_num;
            plain[static_cast<size_t>(plain_num++)] = frame;
        }
        if (step % 5000 == 4999) {
            InitLog(2);
            plain_num = 0;
        }
        ASSERT_EQ(node[2].recv_log_num, plain_num);
    }
    EXPECT_GT(wraps, 10);
    EXPECT_GT(duplicates, 1000);
}

TEST(RepeatedSumTest, EqualsPlainAdditions)
{
    std::mt19937_64 rng(3);
    const auto check = [](double sum, double term, uint64_t count) {
        double plain = sum;
        for (uint64_t i = 0; i < count; ++i) {
            plain += term;
        }
        return RepeatedSum(sum, term, count) == plain;
    };
    for (int i = 0; i < 2'000'000; ++i) {
        // Any place of a binade, its two ends more often; terms in eighths of the spacing there, so
        // that ties, additions without effect and jumps over the end are all common.
        const uint64_t bits = rng() >> (12 + rng() % 52);
        const uint64_t fraction = rng() % 2 == 0 ? bits : (uint64_t{1} << 52) - 1 - bits;
        const int spacing = rng() % 8 == 0 ? -1074 : static_cast<int>(rng() % 100) - 60;
        const double sum = std::ldexp(static_cast<double>((uint64_t{1} << 52) + fraction), spacing);
        const uint64_t eighths = rng() >> (8 + rng() % 56);
        const double term = std::ldexp(static_cast<double>(eighths), spacing - 3);
        const uint64_t count = rng() % 24;
        if (!check(sum, term, count)) {
            FAIL() << sum << " " << term << " " << count;
        }
    }
    const double terms[] = {1 / 3e7, 7 / 3e7, 99999 / 3e7, 0.1, 5e-324, 0.0};
    for (const double term : terms) {
        EXPECT_TRUE(check(0.0, term, 3'000'000)) << term;
        EXPECT_TRUE(check(1.0, term, 3'000'000)) << term;
    }
}
