// Judged by the network alone, before anything is run: a warning says that something can happen. A
// station is silent if no flow begins, ends or is relayed there.
#include "tools/experiment_warnings.h"

#include <cstdint>
#include <new>

#include "driver/state.h"
#include "driver/station_set.h"
#include "tools/experiment_network.h"
#include "topology/routing.h"

// What the flows of an experiment use; a set of stations has one bit for each.
struct TRAFFIC {
    uint32_t sources = 0;                // flows begin there
    uint32_t relays = 0;                 // flows pass through
    uint32_t receivers = 0;              // DATA is addressed to them
    uint32_t senders_to[NODE_NUM] = {};  // who sends to a receiver
    uint32_t received_by[NODE_NUM] = {}; // whose frames a station receives
    uint32_t sensed_by[NODE_NUM] = {};   // whose carrier it senses
};

static uint32_t Bit(int station)
{
    return 1U << station;
}

static uint32_t SetOf(const int32_t *list, int32_t count)
{
    uint32_t set = 0;
    for (int32_t i = 0; i < count; ++i) {
        set |= Bit(list[i]);
    }
    return set;
}

static TRAFFIC LookAtTraffic()
{
    TRAFFIC traffic;
    for (int32_t k = 0; k < g_settings.flow_num; ++k) {
        const FLOW &flow = g_settings.flow_list[k];
        traffic.sources |= Bit(flow.from);
        for (int station = flow.from; station != flow.to;) {
            const int next = NextHop(station, flow.to);
            traffic.relays |= station != flow.from ? Bit(station) : 0;
            traffic.receivers |= Bit(next);
            traffic.senders_to[next] |= Bit(station);
            station = next;
        }
    }
    for (int i = 0; i < NODE_NUM; ++i) {
        traffic.received_by[i] = SetOf(node[i].connect_list, node[i].connect_num);
        traffic.sensed_by[i] = SetOf(node[i].interference_list, node[i].interference_num);
    }
    return traffic;
}

// "station 1", "stations 1, 3"
static std::string Named(uint32_t stations)
{
    const uint32_t others = stations & (stations - 1);
    std::string text = others != 0 ? "stations " : "station ";
    for (const int i : STATION_SET{stations}) {
        text.append(Bit(i) == (stations & ~others) ? "" : ", ").append(std::to_string(i));
    }
    return text;
}

// Receivers whose frame can be overwritten while they take it in: a frame reaches them that their
// sender does not wait for, or one that they sense no carrier of.
static uint32_t Overwritten(const TRAFFIC &traffic)
{
    const uint32_t talkers = traffic.sources | traffic.relays | traffic.receivers;
    uint32_t found = 0;
    for (const int receiver : STATION_SET{traffic.receivers}) {
        const uint32_t received = traffic.received_by[receiver];
        const uint32_t sensed = traffic.sensed_by[receiver];
        const bool is_unsensed = (received & ~sensed & talkers) != 0;
        found |= is_unsensed ? Bit(receiver) : 0;
        for (const int sender : STATION_SET{traffic.senders_to[receiver]}) {
            const uint32_t waited_for = traffic.sensed_by[sender] | Bit(sender) | Bit(receiver);
            const bool is_hidden = ((received | sensed) & talkers & ~waited_for) != 0;
            found |= is_hidden ? Bit(receiver) : 0;
        }
    }
    return found;
}

static std::string Read(const std::string &entry)
{
    return "; read kept-behaviour.md, \"" + entry + "\"";
}

static void AddRts(const TRAFFIC &traffic, std::vector<std::string> &warnings)
{
    const uint32_t deaf = traffic.receivers & ~traffic.sources;
    warnings.push_back(
        "rts_threshold: RTS goes before every packet; an idle station answers none in time, so " +
        (deaf != 0 ? "nothing is delivered to " + Named(deaf) + ", where no flow begins"
                   : std::string("packets are lost where their receivers have nothing to send")) +
        "; and every DATA counts as a start in the same tick" +
        Read("An idle station reacts at the first tick of a frame") +
        " and \"Any old head record can make a common start\"");
    const uint32_t odd = (traffic.sources | traffic.relays) & 0xAAAAAAAAU;
    if (odd != 0) {
        warnings.push_back("rts_threshold: with RTS the share of sending (x in node_stat.txt) of " +
                           Named(odd) + " is too small or wraps to a huge number" +
                           Read("Result files") + ", node_stat.txt, x of destinations");
    }
}

std::vector<std::string> WarningsOf(const SETTINGS &settings)
{
    TRAFFIC traffic;
    if (!WithNetwork(settings, [&traffic] { traffic = LookAtTraffic(); })) {
        throw std::bad_alloc();
    }
    std::vector<std::string> warnings;
    SetPacketSize(settings.data_length);
    if (DAT_LENGTH > settings.rts_threshold) {
        AddRts(traffic, warnings);
    }
    if (traffic.relays != 0) {
        warnings.push_back("routes: " + Named(traffic.relays) +
                           (" relay; a full relay acknowledges what it throws away, and delays of "
                            "links count packets of several sources as one" +
                            Read("A full relay acknowledges what it throws away") +
                            " and \"The next hop finds its packet by the id alone\""));
    }
    const uint32_t overwritten = Overwritten(traffic);
    if (overwritten != 0) {
        warnings.push_back(
            "stations_m: " + Named(overwritten) +
            (" can hear others during DATA that the sender does not wait for; a frame overwritten "
             "while its receiver waits under a NAV is relayed to nobody, and a carrier may stay "
             "sensed up to the end of the load point" +
             Read("A frame may be overwritten before it is relayed") +
             " and \"A carrier that goes without the end of a frame stays sensed\""));
    }
    return warnings;
}
