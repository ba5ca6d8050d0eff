// Whether the names that the tools give to the values of the result files are those of what the
// writers write. Every counter and every value of the records gets a number of its own, all files
// are written, and each value that is read back must be the one that its name stands for.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <map>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "driver/state.h"
#include "driver/sweep.h"
#include "output/collision_table.h"
#include "output/files.h"
#include "output/final_tables.h"
#include "output/node_statistics.h"
#include "output/result_record.h"
#include "output/run_header.h"
#include "output/totals.h"
#include "tools/read_tree.h"

// What a value is of: a flow, station or column i, or a link or pair of stations i and j; and its
// load point.
struct PLACE {
    std::string file;
    int i;
    int j;
    const NODE &own;
    const RESULT &mean; // of its load
    double load;        // Mbit/s
};

using VALUE = std::function<double(const PLACE &)>;
using VALUES = std::map<std::string, VALUE>; // by "kind name unit"

constexpr double W = 3e7;       // ticks of the window
constexpr double BITS = 12'000; // of a packet

static bool IsSource(const PLACE &p)
{
    return p.i % 2 == 0;
}

static double Rate(uint64_t packets)
{
    return static_cast<double>(packets) * BITS / W;
}

// Ticks that a destination is said to have sent. May wrap below 0.
static uint64_t ReckonedTicks(const NODE &own)
{
    return own.tx_num * (296 + 34) - static_cast<uint64_t>(own.timeout_num) * 34;
}

#define OF(formula) []([[maybe_unused]] const PLACE &p) { return static_cast<double>(formula); }

// Means over the trials; the records hold sums over two.
static const VALUES MEANS = {
    {"flow offered_load Mbit/s", OF(p.mean.flow_offered_throughput[p.i][0])},
    {"flow throughput Mbit/s", OF(p.mean.flow_offered_throughput[p.i][1])},
    {"flow delay us", OF(p.mean.flow_delay[p.i])},
    {"column unused Mbit/s",
     OF(p.mean.flow_pair_spare[p.file == "result.txt" ? p.i : 2 * p.i + 1])},
    {"station send_share 1", OF(p.mean.send_ratio[p.i])},
    {"station busy_share 1", OF(p.mean.busy_ratio[p.i])},
    {"station idle_share 1", OF(p.mean.idle_ratio[p.i])},
    {"station backoff_share_of_idle 1", OF(p.mean.backoff_share[p.i])},
    {"station queue_share 1", OF(p.mean.queue_ratio[p.i])},
    {"station queued_share_of_busy 1", OF(p.mean.busy_queue_share[p.i])},
    {"station unused 1", OF(p.mean.node_aux[p.i])},
    {"link send_share 1", OF(p.mean.link_x[p.i][p.j])},
    {"link queue_share 1", OF(p.mean.link_queue_ratio[p.i][p.j])},
    {"link delay us", OF(p.mean.link_delay[p.i][p.j])},
    {"link drop_ratio 1", OF(p.mean.link_slot_d[p.i][p.j])},
    {"link queued_share_of_busy 1", OF(p.mean.link_busy_queue_share[p.i][p.j])},
    {"link link_share_of_queued 1",
     OF(2 * p.mean.link_busy_queue_share[p.i][p.j] / p.mean.busy_queue_share[p.i])},
    {"link backoff_share_of_idle 1", OF(p.mean.link_backoff_share[p.i][p.j])},
    {"link backoff_share_of_idle_both 1",
     OF(p.mean.link_backoff_share[p.i][p.j] +
        (p.i == 0 ? p.mean.idle_ratio[9] : p.mean.link_backoff_share[p.i][p.i - 1]))},
    {"link collision_probability 1", OF(p.mean.link_prob[p.i][p.j][PROB_TOTAL])},
    {"link collision_probability_con 1", OF(p.mean.link_prob[p.i][p.j][PROB_CON])},
    {"link collision_probability_hid 1", OF(p.mean.link_prob[p.i][p.j][PROB_HID])},
    {"link collision_probability_phy 1", OF(p.mean.link_prob[p.i][p.j][PROB_PHY])},
    {"link collision_probability_pro 1", OF(p.mean.link_prob[p.i][p.j][PROB_PRO])},
    {"link collision_probability_hcon 1", OF(p.mean.link_prob[p.i][p.j][PROB_HCON])},
    {"link collision_probability_ack 1", OF(p.mean.link_prob[p.i][p.j][PROB_HID_DA])},
    {"link unused 1", OF(p.mean.link_pair_aux[p.i][p.j][0])},
    {"link unused us", OF(p.file.starts_with("dmac") ? p.mean.link_delay_b[p.i][p.j]
                                                     : p.mean.link_delay_c[p.i][p.j])},
    {"network delay_sum_forward_links us",
     [](const PLACE &p) {
         double sum = 0.0;
         for (int i = 0; i < NODE_NUM - 1; ++i) {
             sum += p.mean.link_delay[i][i + 1];
         }
         return sum;
     }},
};

// Of one load point of one trial, or of the run.
static const VALUES COUNTS = {
    {"run days d", OF(1)},
    {"run hours h", OF(2)},
    {"run minutes min", OF(3)},
    {"run seconds s", OF(4)},
    {"network packet_length B", OF(1500)},
    {"network packet_length2 B", OF(PACKET_PAYLOAD_LENGTH2)},
    {"network arrival_gap us", OF(p.load == 0 ? INT32_MIN : std::floor(BITS / p.load))},
    {"network arrival_rate 1/us", OF(p.load / BITS)},
    {"network arrival_rate 1/s", OF(p.load / BITS * 1e6)},
    {"group active_together_share 1",
     OF(static_cast<double>(p.j == 2 ? temp_trans1 : temp_trans2) / W)},
    {"pair active_together_share 1", OF(static_cast<double>(trans_con[p.i][p.j]) / W)},
    {"pair starts_while_active frames", OF(X_count[p.i][p.j])},
    {"pair starts_while_busy frames", OF(Y_count[p.i][p.j])},
    {"pair starts_while_idle frames", OF(Z_count[p.i][p.j])},
    {"station gene packets", OF(p.own.gene_num)},
    {"station tx frames", OF(p.own.tx_num)},
    {"station tx1 frames", OF(IsSource(p) ? p.own.link_tx_num[p.i + 1] : 0)},
    {"station tx2 1", OF(static_cast<double>(temp_non) / W)}, // of a source
    {"station tx2 frames", OF(p.own.link_tx_num[p.i - 1])},
    {"station retx frames", OF(p.own.timeout_num)},
    {"station retx1 frames", OF(IsSource(p) ? p.own.timeout_hop[p.i + 1] : 0)},
    {"station V frames", OF(IsSource(p) ? 0 : p.own.timeout_hop[p.i - 1])},
    {"station drop packets", OF(p.own.drop_num)},
    {"station d-rate 1", OF(p.own.drop_num / static_cast<double>(p.own.gene_num))},
    {"station over packets", OF(p.own.over_num)},
    {"station rxsu frames", OF(p.own.rx_dat_num)},
    {"station rx packets", OF(p.own.recv_num)},
    {"station rx1 frames", OF(IsSource(p) ? 0 : p.own.recv_from[p.i - 1])},
    {"station rx2 frames", OF(IsSource(p) ? p.own.recv_from[p.i + 1] : 0)},
    {"station dis frames", OF(p.own.dup_num)},
    {"station buf packets", OF(p.own.buffer_avg)},
    {"station cw slots", OF(p.own.backoff_slot_sum / static_cast<double>(p.own.backoff_draws))},
    {"station x 1",
     OF(static_cast<double>(IsSource(p) ? p.own.send_time : ReckonedTicks(p.own)) / W)},
    {"station off Mbit/s", OF(Rate(p.own.gene_num))},
    {"station thr Mbit/s", OF(Rate(p.own.recv_num))},
    {"station Ptr 1/slot", OF(p.own.backoff_draws / static_cast<double>(p.own.backoff_slot_sum))},
    {"station Ytime 1", OF(static_cast<double>(p.own.busy_time) / W)},
    {"station qYtime 1", OF(static_cast<double>(p.own.busy_queue_time) / W)},
    {"station Ztime 1", OF(static_cast<double>(p.own.idle_time) / W)},
    {"station qZtime 1", OF(static_cast<double>(p.own.backoff_time) / W)},
    {"station X+Y+Z 1",
     OF(static_cast<double>(p.own.send_time + p.own.busy_time + p.own.idle_time) / W)},
    {"link send frames", OF(p.own.link_tx_num[p.j])},
    {"link x 1", OF(static_cast<double>(p.own.link_tx_num[p.j]) * 330 / W)},
    {"link p1 1", OF(col[p.i][p.j][ROW_COL].total / static_cast<double>(p.own.link_tx_num[p.j]))},
};

// The counts of a class of collisions on a link: as `value` picks them, all or without repeats.
static VALUE Collisions(int row, int pairing, bool kept, bool per_frame)
{
    return [=](const PLACE &p) {
        const auto count = [&](const COL *rows) {
            return pairing == EMPTY ? rows[row].total : rows[row].pairing[pairing];
        };
        const double counted = count(col[p.i][p.j]) - (kept ? count(dp[p.i][p.j]) : 0);
        return per_frame ? counted / static_cast<double>(p.own.link_tx_num[p.j]) : counted;
    };
}

static std::string Join(std::initializer_list<std::string_view> parts)
{
    std::string joined;
    for (const std::string_view part : parts) {
        joined.append(part);
    }
    return joined;
}

static VALUES CollisionValues()
{
    VALUES values;
    const char *const rows[] = {"col", "con", "hid", "phy", "pro", "hcon"};
    const char *const pairings[] = {"DD", "DA", "AD", "AA"};
    const std::pair<const char *, int> shares[] = {
        {"p2", ROW_HID}, {"p3", ROW_PRO}, {"p4", ROW_PHY}, {"p5", ROW_HCON}};
    for (const auto &[name, row] : shares) {
        values["link " + std::string(name) + " 1"] = Collisions(row, EMPTY, false, true);
        values["link " + std::string(name) + "_kept 1"] = Collisions(row, EMPTY, true, true);
    }
    for (int row = ROW_COL; row <= ROW_HCON; ++row) {
        const std::string name = rows[row];
        values["link " + name + " frames"] = Collisions(row, EMPTY, false, false);
        if (row >= ROW_CON && row <= ROW_PRO) {
            values["link dp" + name + " frames"] = [row](const PLACE &p) {
                return dp[p.i][p.j][row].total;
            };
        }
        for (const bool kept : {false, true}) {
            const std::string end = kept ? "_kept" : "";
            for (int k = EMPTY; k < PAIRING_NUM && row <= ROW_PRO; ++k) {
                const std::string pairing = k == EMPTY ? "" : std::string("_") + pairings[k];
                values[Join({"link ", name, pairing, "_frames", end, " frames"})] =
                    Collisions(row, k, kept, false);
                if (k != EMPTY) {
                    values[Join({"link p_", name, pairing, end, " 1"})] =
                        Collisions(row, k, kept, true);
                }
            }
        }
    }
    return values;
}

// Overwrites numbers by others that all differ, the same for the same load point.
class NUMBERS
{
  public:
    explicit NUMBERS(int seed) : rng(static_cast<uint32_t>(seed))
    {
    }

    template <class FIELD> void Fill(FIELD &field)
    {
        if constexpr (std::is_array_v<FIELD>) {
            for (auto &element : field) {
                Fill(element);
            }
        } else {
            field = static_cast<FIELD>(1'000'000 + rng() % 24'000'000);
        }
    }

  private:
    std::mt19937 rng;
};

// The counters of one load point.
static void FillCounters(int trial, int load_mbps)
{
    NUMBERS numbers(100 * trial + load_mbps);
    SetOfferedLoad(1000 * load_mbps);
    numbers.Fill(PACKET_PAYLOAD_LENGTH2);
    for (int64_t *total : {&temp_trans1, &temp_trans2, &temp_non}) {
        numbers.Fill(*total);
    }
    for (auto *table : {&trans_con, &X_count, &Y_count, &Z_count}) {
        numbers.Fill(*table);
    }
    for (int i = 0; i < NODE_NUM; ++i) {
        NODE &own = node[i];
        for (uint64_t *count :
             {&own.gene_num, &own.tx_num, &own.rx_dat_num, &own.recv_num, &own.send_time,
              &own.busy_time, &own.busy_queue_time, &own.idle_time, &own.backoff_time}) {
            numbers.Fill(*count);
        }
        for (auto *by_hop : {&own.link_tx_num, &own.recv_from}) {
            numbers.Fill(*by_hop);
        }
        for (int32_t *count : {&own.timeout_num, &own.drop_num, &own.over_num, &own.dup_num,
                               &own.backoff_draws, &own.backoff_slot_sum}) {
            numbers.Fill(*count);
        }
        numbers.Fill(own.timeout_hop);
        numbers.Fill(own.buffer_avg);
        for (int j = 0; j < NODE_NUM; ++j) {
            for (int row = 0; row < COL_ROWS; ++row) {
                for (COL *rows : {col[i][j], dp[i][j]}) {
                    numbers.Fill(rows[row].total);
                    numbers.Fill(rows[row].pairing);
                }
            }
        }
    }
}

static void WriteTree(const std::string &dir)
{
    testing::internal::CaptureStdout();
    fileopen(dir.c_str());
    information();
    for (int trial = 0; trial < g_settings.trial_num; ++trial) {
        for (int load_mbps = 0; load_mbps < g_settings.load_num; ++load_mbps) {
            FillCounters(trial + 1, load_mbps);
            WriteNodeStat(trial, 1000 * load_mbps);
            WriteCollision(trial, 1000 * load_mbps);
        }
    }
    g_counter = g_settings.load_num;
    WriteTotalResult();
    WriteFinalTables();
    PrintRunTime(((24.0 + 2.0) * 60.0 + 3.0) * 60.0 + 4.0);
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(fileclose());
}

// Holds a value against what its name stands for; returns its key, with the file if it differs.
static std::string CheckValue(const VALUES &values, const FILE_FORM &form, const CELL &cell,
                              double written, const std::vector<RESULT> &means)
{
    const std::string key = std::string(cell.kind) + " " + cell.text + " " + cell.unit;
    const auto value = values.find(key);
    if (value == values.end()) {
        return form.name + ": no such value: " + key;
    }
    // "3", "3->2", "3+4", or a group "0+2+6", told by how many it has.
    const int i = std::atoi(cell.thing.c_str());
    const size_t second = cell.thing.find_first_of(">+");
    const bool is_group = std::strcmp(cell.kind, "group") == 0;
    const int j = is_group ? static_cast<int>(std::count(cell.thing.begin(), cell.thing.end(), '+'))
                  : second == std::string::npos ? 0
                                                : std::atoi(cell.thing.c_str() + second + 1);
    const int load_mbps = std::max(cell.load_kbps, 0) / 1000;
    const RESULT &mean = means[static_cast<size_t>(load_mbps)];
    const PLACE place{form.name, i, j, node[i], mean, static_cast<double>(load_mbps)};
    const double expected =
        value->second(place) / (cell.trial == TRIAL_MEAN ? g_settings.trial_num : 1);
    const double rounding = std::max(6e-6, std::fabs(expected) * 1e-15); // five decimals
    return std::fabs(written - expected) <= rounding ? key : form.name + ": not " + key;
}

TEST(Forms, NamesAreThoseOfTheValues)
{
    const std::string dir =
        testing::TempDir() + "dcfsim_output_forms_test" + std::to_string(getpid());
    std::filesystem::create_directories(dir);
    g_settings = {};
    ASSERT_TRUE(AllocateState());
    SetPacketSize(1472);
    std::vector<RESULT> records(static_cast<size_t>(g_settings.load_num) + 2);
    NUMBERS numbers(0);
    for (int load_mbps = 0; load_mbps < g_settings.load_num; ++load_mbps) {
        auto &values = reinterpret_cast<double(&)[sizeof(RESULT) / sizeof(double)]>(
            records[static_cast<size_t>(load_mbps)]);
        numbers.Fill(values);
    }
    result = records.data();
    WriteTree(dir);

    VALUES counts = CollisionValues();
    counts.insert(COUNTS.begin(), COUNTS.end());
    std::set<std::string> found;
    std::pair<int, int> filled = {TRIAL_NONE, LOAD_NONE};
    const auto compare = [&](const FILE_FORM &form, const CELL &cell, std::string_view word) {
        if (cell.kind == nullptr) {
            return;
        }
        if (cell.trial > TRIAL_MEAN && std::pair(cell.trial, cell.load_kbps) != filled) {
            filled = {cell.trial, cell.load_kbps};
            FillCounters(cell.trial, cell.load_kbps / 1000);
        }
        found.insert(CheckValue(cell.trial == TRIAL_MEAN ? MEANS : counts, form, cell,
                                std::strtod(std::string(word).c_str(), nullptr), records));
    };
    for (const FILE_FORM &form : PublishedForm().files) {
        EXPECT_EQ(ReadResultFile(dir, form, compare), "");
    }

    std::set<std::string> expected;
    for (const VALUES *values : {&MEANS, &std::as_const(counts)}) {
        for (const auto &[key, value] : *values) {
            expected.insert(key);
        }
    }
    for (const std::string &key : found) {
        EXPECT_EQ(expected.count(key), 1U) << key;
    }
    for (const std::string &key : expected) {
        EXPECT_EQ(found.count(key), 1U) << "in no file, or never right: " << key;
    }
    for (int i = 0; i < NODE_NUM * NODE_NUM; ++i) {
        for (COL *rows : {col[i / NODE_NUM][i % NODE_NUM], dp[i / NODE_NUM][i % NODE_NUM]}) {
            std::memset(rows, 0, COL_RECORDS * sizeof(COL));
        }
    }
    temp_trans1 = temp_trans2 = temp_non = 0;
    for (auto *table : {&trans_con, &X_count, &Y_count, &Z_count}) {
        std::memset(*table, 0, sizeof *table);
    }
    PACKET_PAYLOAD_LENGTH2 = 0;
    g_counter = 0;
    result = nullptr;
    FreeState();
    std::filesystem::remove_all(dir);
}
