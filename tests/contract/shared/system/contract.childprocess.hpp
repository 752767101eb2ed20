#pragma once

#include <cstdint>
#include <memory>

namespace Contract
{

/// Id of the test's own process.
std::uint32_t OwnProcessId();

/// A process that does nothing but wait until it is ended. Ended and collected on destruction at the latest. On Windows it
/// has not begun to run, so that the system knows it and its program does not.
class ChildProcess
{
public:
    ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    std::uint32_t Id() const noexcept;
    /// Lets it run, as far as it gets without being told anything. Linux lets it from the start.
    void Resume();
    /// Ends it and waits until it has ended; its parent, this process, has not taken notice.
    void End();
    /// Takes notice of the end, by which Linux forgets the process.
    void Collect();
    /// Hands the handle of the first thread over, once; null on Linux, where there is none.
    void* ReleaseThreadHandle() noexcept;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace Contract
