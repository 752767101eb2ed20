#include "contract.capturedstandarderror.hpp"

#include <array>
#include <cstddef>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace Contract
{

struct CapturedStandardError::State
{
    int before = -1;
    int reader = -1;
};

CapturedStandardError::CapturedStandardError() : m_state(std::make_unique<State>())
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
    {
        throw std::runtime_error("pipe2() failed");
    }
    m_state->before = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    m_state->reader = ends[0];
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[1]);
}

CapturedStandardError::~CapturedStandardError()
{
    Finish();
}

std::string CapturedStandardError::Finish()
{
    std::string text;
    if (m_state->before >= 0)
    {
        std::fflush(stderr);
        ::dup2(m_state->before, STDERR_FILENO);
        ::close(std::exchange(m_state->before, -1));
        std::array<char, 512> buffer{};
        for (auto count = ::read(m_state->reader, buffer.data(), buffer.size()); count > 0;
             count = ::read(m_state->reader, buffer.data(), buffer.size()))
        {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        }
        ::close(m_state->reader);
    }
    return text;
}

} // namespace Contract
