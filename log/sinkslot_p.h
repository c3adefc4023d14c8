#pragma once

#include <functional>
#include <memory>
#include <mutex>

namespace zd {

struct LogRecord;

/// Holds the sink of the process and lets one thread at a time run it.
class SinkSlot {
public:
    using Sink = std::function<void(const LogRecord&)>;

    /// Made on first use and never destroyed, as the loggers.
    static SinkSlot& instance();

    /// Puts `sink` in place of the present one, which may be running in this thread but in no other
    /// by the time this returns. Null empties the slot.
    void replace(std::shared_ptr<const Sink> sink);

    /// Hands the record to the sink. Returns false, having done nothing, when the slot is empty or when this
    /// thread is running the sink already. Passes on what the sink throws.
    bool deliver(const LogRecord& record);

private:
    SinkSlot() = default;

    std::mutex m_mutex; // held while the sink runs
    std::shared_ptr<const Sink> m_sink;
};

} // namespace zd
