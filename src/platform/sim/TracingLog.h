#pragma once

#include "platform/sim/MemoryLog.h"

namespace parvel::sim {

class Trace;

// The simulated Mac's system log: keeps the lines and puts each in the trace.
class TracingLog final : public platform::Log {
  public:
    explicit TracingLog(Trace& trace) : trace_(trace) {}
    void write(std::string_view message) override;
    const MemoryLog& lines() const { return lines_; }

  private:
    Trace& trace_;
    MemoryLog lines_;
};

}  // namespace parvel::sim
