#pragma once

#include <memory>
#include <string>

namespace LogTests
{

/// Takes what the process writes to a standard stream, by the C library and by the system's handle, from construction
/// until Finish() or destruction. Any amount, as it goes to a temporary file.
class CapturedStream
{
public:
    enum class Which
    {
        Output = 1,
        Error = 2
    };

    explicit CapturedStream(Which which);
    CapturedStream(const CapturedStream&) = delete;
    CapturedStream& operator=(const CapturedStream&) = delete;
    ~CapturedStream();

    /// What has been written so far, without carriage returns.
    std::string Text();
    /// The same, and puts the stream back.
    std::string Finish();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace LogTests
