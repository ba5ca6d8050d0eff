// Starting state, resets, bookkeeping; queue and log against their plain forms.
#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <random>

#include <malloc.h>

#include "driver/bookkeeping.h"
#include "driver/station.h"
#include "tests/model_fixture.h"
#include "tests/signature.h"

using DriverTest = ModelTest;

// Whether a field holds nothing but `value`; leaves it zero.
static bool TakeBytes(void *field, size_t size, unsigned char value)
{
    auto *byte = static_cast<unsigned char *>(field);
    const bool same = std::all_of(byte, byte + size, [=](unsigned char b) { return b == value; });
    memset(field, 0, size);
    return same;
}

TEST_F(DriverTest, InitNodeLeavesOnlyTheNamedFieldsOffZero)
{
    NODE &own = node[3];
    const size_t front = offsetof(NODE, rx_frame);
    const size_t back = sizeof(NODE) - offsetof(NODE, rx_flag);
    memset(&own, 0x5A, front);
    memset(&own.rx_frame, 0x5A, sizeof own.rx_frame);
    memset(&own.buffer.head, 0x5A, sizeof own.buffer.head);
    memset(&own.rx_flag, 0x5A, back);
    InitNode(3);
    EXPECT_EQ(Fields(own.cw, own.backoff_draws, own.same_start_num), Fields(15, 1, 1));
    EXPECT_EQ(own.reserved_index, -1);
    EXPECT_EQ(own.backoff, 9U * static_cast<unsigned>(own.backoff_slots));
    own.cw = own.backoff_slots = own.backoff_draws = own.reserved_index = 0;
    own.backoff = own.same_start_num = 0;
    EXPECT_TRUE(TakeBytes(own.connect_list, sizeof own.connect_list, 0xFF));
    EXPECT_TRUE(TakeBytes(own.interference_list, sizeof own.interference_list, 0xFF));
    EXPECT_TRUE(TakeBytes(own.table, sizeof own.table, 0xFF));
    EXPECT_TRUE(TakeBytes(own.signal_list, sizeof own.signal_list, 0xFF));
    EXPECT_TRUE(TakeBytes(&own, front, 0));
    EXPECT_TRUE(TakeBytes(&own.rx_flag, back, 0));
    for (const PACKET &p : {own.rx_frame, own.buffer.head}) {
        EXPECT_EQ(Fields(p.type, p.src, p.dst, p.sender, p.receiver, p.seq, p.corrupt),
                  Fields(-1, -1, -1, -1, -1, -1, -1));
        EXPECT_EQ(Fields(p.nav_value, p.duration, p.payload_time, p.age_base), Fields(0, 0, 0, 0));
        constexpr uint64_t OLD = 0x5A5A5A5A5A5A5A5A; // outlives the load point
        EXPECT_EQ(Fields(p.gen_time, p.hop_time, p.tx_start, p.id), Fields(OLD, OLD, OLD, OLD));
    }
    EXPECT_TRUE(TakeBytes(&node[NODE_NUM], front, 0)); // the spare record
}

TEST_F(DriverTest, DrawsOfInitAndReset)
{
    const int32_t counted = count_cw;
    int highest = 0;
    int fifteens = 0;
    for (int i = 0; i < 1000; ++i) {
        InitNode(0);
        highest = std::max(highest, node[0].backoff_slots);
        ResetNode(0, RESET_DONE);
        fifteens += node[0].backoff_slots == 15 ? 1 : 0;
        node[0].cw = 7;
        ResetNode(0, RESET_RETRY); // draws up to 15 slots, too, but is not counted
    }
    EXPECT_EQ(highest, 14); // the first draw; later ones go up to cw
    EXPECT_GT(fifteens, 0);
    EXPECT_EQ(count_cw - counted, fifteens);
}

TEST_F(DriverTest, ResetKindsChangeWhatTheyName)
{
    const struct {
        int kind, retry;
        uint64_t now;
        int cw_after, retry_after, draws, flag, age;
    } cases[] = {
        {RESET_DONE, 0, 50, 15, 0, 1, 0, 50},  // the access of the next packet counts from now
        {RESET_DONE, 0, 49, 15, 0, 1, 0, 7},   // the same before the window
        {RESET_DONE, 2, 50, 63, 2, 1, 0, 7},   // the caller has not cleared the retries
        {RESET_RETRY, 2, 50, 127, 3, 1, 0, 7}, // cw = (63 + 1) * 2 - 1
        {RESET_RESUME, 2, 50, 63, 2, 0, 0, 7}, {RESET_KEEP, 2, 50, 63, 2, 0, 1, 7},
    };
    for (const auto &c : cases) {
        StartScene();
        Queue(0, 1, 27);
        NODE &own = node[0];
        g_settings.window_begin = 50;
        g_sim_time = c.now;
        own.buffer[0].age_base = 7;
        own.timer = own.nav = own.difs_idle_num = own.retry_count = c.retry;
        own.idle_count = own.rx_count = 7;
        own.cw = 63;
        own.rx_flag = 1;
        ResetNode(0, 4); // no such kind
        EXPECT_EQ(own.idle_count, 7U);
        ResetNode(0, c.kind);
        EXPECT_EQ(Fields(own.timer, own.nav, own.difs_idle_num, own.idle_count, own.rx_count),
                  Fields(0, 0, 0, 0, 0));
        EXPECT_EQ(Fields(own.state, own.cw, own.retry_count, own.backoff_draws, own.rx_flag,
                         own.buffer[0].age_base),
                  Fields(STATE_DCW, c.cw_after, c.retry_after, 1 + c.draws, c.flag, c.age));
        EXPECT_EQ(Fields(own.backoff_slot_sum, own.backoff),
                  c.draws == 1 ? Fields(own.backoff_slots, 9 * own.backoff_slots) : Fields(0, 27));
        own.buffer_num = 0;
        ResetNode(0, c.kind);
        EXPECT_EQ(own.state, STATE_IDLE);
    }
}

TEST_F(DriverTest, Bookkeeping)
{
    Queue(0, 1, 900);
    Queue(0, 1, 900);
    node[2].nav = -1; // below 0 nothing counts down
    node[4].nav = 1;  // and only a NAV that ends resets its station
    node[2].state = node[4].state = STATE_RDAT;
    node[4].rx_flag = 1;
    g_settings.window_begin = 2;
    g_settings.window_end = 3;
    RunTicks(1);
    EXPECT_EQ(Fields(node[2].nav, node[2].state, node[4].nav, node[4].state, node[4].rx_flag),
              Fields(-1, STATE_RDAT, 0, STATE_IDLE, 0));
    RunTicks(10);
    EXPECT_EQ(node[0].buffer_avg, 2 / 3e7 + 2 / 3e7); // both ends of the window count
    SIGNAL list[5] = {{0, 0, 0, 10, 0, 0}, {0, 0, 0, 11, 0, 0}, {0, 0, 0, 12, 0, 0}, {}, {}};
    node[0].signal_num = 3;
    ArrangeArray(0, list, 2); // the last entry: nothing moves
    ArrangeArray(0, list, 0);
    EXPECT_EQ(Fields(list[0].frame_no, list[1].frame_no, list[2].frame_no), Fields(11, 12, 12));
}

TEST_F(DriverTest, MemoryIsGivenBack)
{
    const auto used = [] {
        const struct mallinfo2 info = mallinfo2();
        return info.uordblks + info.hblkhd;
    };
    FreeState();
    const size_t before = used();
    ASSERT_TRUE(AllocateState());
    FreeState();
    EXPECT_EQ(used(), before);
}

TEST_F(DriverTest, OfferedLoadAndPacketSize)
{
    EXPECT_EQ(g_interval, INT32_MIN); // no load: the gap is infinite
    EXPECT_EQ(DAT_LENGTH, 248);       // ((1500 + 38) * 8 + 221) / 216 = 57; (57 + 5) * 4
    EXPECT_EQ(DataTicks(), 252);      // ((1500 + 4) * 8 + 221) / 216 = 56; (56 + 7) * 4
    EXPECT_EQ(PayloadTicks(), 224);
    // Bytes around which a frame becomes a symbol longer, first on the air, then in what it
    // carries.
    const int lengths[][3] = {{1452, 248, 248}, {1453, 252, 248}, {1479, 252, 252},
                              {1480, 256, 252}, {1472, 252, 248}, {1473, 252, 252},
                              {1445, 248, 244}, {1446, 248, 248}, {0, 36, 32}};
    for (const auto &[bytes, on_air, carried] : lengths) {
        SetPacketSize(bytes);
        EXPECT_EQ(Fields(PACKET_PAYLOAD_LENGTH, DataTicks(), DAT_LENGTH),
                  Fields(bytes + 28, on_air, carried));
    }
    FreeState(); // the program takes its own
    g_settings.trial_num = 1;
    g_settings.load_num = 1;
    g_settings.load_list[0] = 7000;
    g_settings.sim_ticks = 100;
    const std::string dir = MakeScratchDirectory();
    const std::string out = RunProgramIn(dir).output;
    std::filesystem::remove_all(dir);
    EXPECT_EQ(g_ariv_rate, 7.0 / 12000.0);
    EXPECT_EQ(Fields(g_interval, g_interval2), Fields(1714, 400)); // 12000 / 7 and 12000 / 30
    // Announced in packets per millisecond, whatever the label says.
    EXPECT_NE(out.find("λ(pkt/sec) = 0.583333\tload = 7.000000\n"), std::string::npos);
    EXPECT_NE(out.find("0%|    |    |100%\n  |=========|\n"), std::string::npos);
}

// The queue as an array that moves up by one at every removal, for some steps around half full to
// full, then for some around empty.
TEST_F(DriverTest, QueueEqualsAShiftingArray)
{
    constexpr int LIMIT = 60;
    constexpr int FULL_STEPS = 500'000; // the ring and the table of changes run full meanwhile
    constexpr int STEPS = 520'000;
    std::mt19937_64 rng(1);
    std::vector<PACKET> plain(LIMIT + 1);
    QUEUE &queue = node[2].buffer;
    int32_t &num = node[2].buffer_num;
    for (int step = 0; step < 2 * STEPS; ++step) {
        if (step % STEPS == 0) {
            InitQueue(2);
            std::for_each(plain.begin(), plain.end(), [](PACKET &p) { InitPacket(&p); });
        }
        const auto draw = rng();
        PACKET packet{};
        packet.seq = step;
        // Ids repeat, as those of packets created outside the window do; many name no packet.
        packet.id = draw % 4 == 0 ? draw >> 8 & 7 : draw >> 8;
        packet.hop_time = draw;
        const bool full = step % STEPS < FULL_STEPS;
        const auto kind = draw >> 32 & 7;
        if (kind < 2 && num < (full ? LIMIT : 4)) {
            plain[static_cast<size_t>(num)] = packet;
            AppendPacket(2, packet);
        } else if (kind < 4 && num >= (full ? LIMIT / 2 : 0)) {
            std::copy(plain.begin() + 1, plain.begin() + std::max(num, 1), plain.begin());
            RemoveHead(2);
        } else if (kind == 4) {
            plain[static_cast<size_t>(num)] =
                packet; // a delivered frame is left behind the last one
            queue[num] = packet;
        } else {
            for (PACKET &p : plain) {
                p.hop_time = p.id == packet.id ? draw : p.hop_time;
            }
            SetHopTime(2, packet.id, draw);
        }
        ASSERT_EQ(memcmp(&queue[0], plain.data(), sizeof(PACKET)), 0) << step;
        for (int i = 1; i < num && step % 64 == 0; ++i) {
            PACKET expected = plain[static_cast<size_t>(i)];
            expected.hop_time = queue[i].hop_time; // counts when the packet reaches the head
            ASSERT_EQ(memcmp(&queue[i], &expected, sizeof(PACKET)), 0) << step << " " << i;
        }
    }
}

TEST_F(DriverTest, LogEqualsAWalkedOne)
{
    constexpr int LIMIT = 64;
    g_settings.log_limit = LIMIT;
    std::mt19937 rng(2);
    std::vector<PACKET> plain;
    int duplicates = 0;
    for (int step = 0; step < 20'000; ++step) {
        PACKET frame{};
        frame.src = static_cast<int32_t>(rng() % 3);
        // Neighbouring numbers, and some that share their place in the table with these.
        frame.seq = static_cast<int32_t>(rng() % 40 + (rng() % 4 == 0 ? LOG_SLOTS : 0));
        const bool known = std::any_of(plain.begin(), plain.end(), [&frame](const PACKET &p) {
            return p.src == frame.src && p.seq == frame.seq;
        });
        ASSERT_EQ(HasLogged(2, frame), known) << step;
        duplicates += known ? 1 : 0;
        if (!known) {
            LogFrame(2, frame);
            plain.resize(plain.size() == LIMIT ? 0 : plain.size()); // starts again
            plain.push_back(frame);
        }
        if (step % 5000 == 4999) {
            InitLog(2);
            plain.clear();
        }
        ASSERT_EQ(node[2].recv_log_num, static_cast<int>(plain.size()));
    }
    EXPECT_GT(duplicates, 1000);
}
