#include "driver/state.h"

#include <cstdlib>

#include "driver/observer.h"

constinit SETTINGS g_settings;

NODE *node = nullptr;
RESULT *result = nullptr;
COL *col[NODE_NUM][NODE_NUM];
COL *dp[NODE_NUM][NODE_NUM];

const OBSERVER *g_observer = nullptr;

uint64_t g_sim_time = 0;
int32_t g_counter = 0;
int32_t load = 0;

int32_t DATA_LENGTH = 0;
int32_t PACKET_PAYLOAD_LENGTH = 0;
int32_t DATA_LENGTH2 = 0;
int32_t PACKET_PAYLOAD_LENGTH2 = 0;
int32_t DAT_LENGTH = 0;

double g_ariv_rate = 0.0;
double g_ariv_rate2 = 0.0;
int32_t g_interval = 0;
int32_t g_interval2 = 0;

int64_t g_event = 0;
uint64_t g_no = 0;
int64_t temp_trans1 = 0;
int64_t temp_trans2 = 0;
int64_t temp_non = 0;
int64_t g_collision_possible_time = 0;
uint64_t ave_delay[FLOW_NUM];
uint64_t ave_delay_2[FLOW_NUM];
uint64_t check_delay = 0;
int32_t flag_col[NODE_NUM];
int32_t count_cw = 0;

uint64_t trans_con[NODE_NUM][NODE_NUM];
uint64_t X_count[NODE_NUM][NODE_NUM];
uint64_t Y_count[NODE_NUM][NODE_NUM];
uint64_t Z_count[NODE_NUM][NODE_NUM];

void SetPacketSize(int32_t data_length)
{
    constexpr int32_t UDP_IP_BYTES = 28; // headers in front of the application data
    constexpr int32_t MAC_BYTES = 38;    // MAC header, LLC header and frame check sequence
    constexpr int32_t DAT_PREAMBLE_SYMBOLS = 5;
    DATA_LENGTH = data_length;
    PACKET_PAYLOAD_LENGTH = DATA_LENGTH + UDP_IP_BYTES;
    const int32_t bits = (PACKET_PAYLOAD_LENGTH + MAC_BYTES) * BITS_PER_BYTE + SERVICE_TAIL_BITS;
    // Kept: 4 ticks less than the airtime of the frame, DataTicks(). DATA frames carry it, but only
    // the RTS threshold is compared with it.
    DAT_LENGTH = (bits / BITS_PER_SYMBOL + DAT_PREAMBLE_SYMBOLS) * SYMBOL;
}

// Takes the rows of one collision table, link by link.
static bool AllocateTable(COL *(&table)[NODE_NUM][NODE_NUM])
{
    for (auto &sender_rows : table) {
        for (COL *&rows : sender_rows) {
            if (rows == nullptr) {
                rows = static_cast<COL *>(std::calloc(COL_RECORDS, sizeof(COL)));
            }
            if (rows == nullptr) {
                return false;
            }
        }
    }
    return true;
}

static QUEUE_MEMORY *g_queue_memory = nullptr;

bool AllocateStations()
{
    node = static_cast<NODE *>(std::calloc(NODE_RECORDS, sizeof(NODE)));
    return node != nullptr;
}

bool AllocateState()
{
    // Zero pages are not resident until they are touched, so the long arrays cost what they hold.
    g_queue_memory = static_cast<QUEUE_MEMORY *>(std::calloc(NODE_RECORDS, sizeof(QUEUE_MEMORY)));
    if (!AllocateStations() || g_queue_memory == nullptr || !AllocateTable(col) ||
        !AllocateTable(dp)) {
        return false;
    }
    for (int i = 0; i < NODE_RECORDS; ++i) {
        QUEUE_MEMORY &memory = g_queue_memory[i];
        node[i].buffer.rest = memory.rest;
        node[i].buffer.change = memory.change;
        node[i].recv_log = {memory.entry, memory.place};
    }
    return true;
}

void FreeState()
{
    std::free(node);
    std::free(g_queue_memory);
    node = nullptr;
    g_queue_memory = nullptr;
}
