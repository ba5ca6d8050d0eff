#include "tools/signal_watch.h"

#include <cstddef>
#include <iterator>

constexpr size_t SIGNAL_NUM = std::size(ENDING_SIGNALS);

static volatile std::sig_atomic_t g_noted = 0;

SIGNAL_WATCH::SIGNAL_WATCH()
{
    struct sigaction note {
    };
    note.sa_handler = [](int signal) { g_noted = signal; };
    for (size_t i = 0; i < SIGNAL_NUM; ++i) {
        sigaction(ENDING_SIGNALS[i], nullptr, &before_[i]);
        if (before_[i].sa_handler != SIG_IGN) {
            sigaction(ENDING_SIGNALS[i], &note, nullptr);
        }
    }
}

SIGNAL_WATCH::~SIGNAL_WATCH()
{
    for (size_t i = 0; i < SIGNAL_NUM; ++i) {
        sigaction(ENDING_SIGNALS[i], &before_[i], nullptr);
    }
}

int EndingSignal()
{
    return g_noted;
}

void ForgetSignals()
{
    for (int signal : ENDING_SIGNALS) {
        if (std::signal(signal, SIG_DFL) == SIG_IGN) {
            std::signal(signal, SIG_IGN);
        }
    }
}
