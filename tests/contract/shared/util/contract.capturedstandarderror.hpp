#pragma once

#include <memory>
#include <string>

namespace Contract
{

/// Takes what the process writes to its standard error stream, from construction until Finish() or destruction. Holds
/// less than a pipe does: a few kilobytes.
class CapturedStandardError
{
public:
    CapturedStandardError();
    CapturedStandardError(const CapturedStandardError&) = delete;
    CapturedStandardError& operator=(const CapturedStandardError&) = delete;
    ~CapturedStandardError();

    /// Puts the stream back and gives the bytes.
    std::string Finish();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace Contract
