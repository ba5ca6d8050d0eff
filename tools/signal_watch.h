// The signals that end a program, SIGINT, SIGTERM and SIGHUP, noted so that it can leave in order.
#pragma once

#include <csignal>

constexpr int ENDING_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};

// While it lives the signals are noted instead of ending the process. Those that were ignored
// before stay ignored, as under nohup.
class SIGNAL_WATCH
{
  public:
    SIGNAL_WATCH();
    ~SIGNAL_WATCH();
    SIGNAL_WATCH(const SIGNAL_WATCH &) = delete;
    SIGNAL_WATCH &operator=(const SIGNAL_WATCH &) = delete;

  private:
    struct sigaction before_[sizeof ENDING_SIGNALS / sizeof *ENDING_SIGNALS];
};

// The signal that was noted last, or 0.
int EndingSignal();

// In a child: lets the signals end it again.
void ForgetSignals();
