#include "test.log-capturedstream.hpp"

#include <array>
#include <cstddef>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace LogTests
{

struct CapturedStream::State
{
    int descriptor;
    std::FILE* stream;
    int before;
    int file;
    std::string text;
};

CapturedStream::CapturedStream(Which which)
    : m_state(
          std::make_unique<State>(State{static_cast<int>(which), which == Which::Output ? stdout : stderr, -1, -1, {}}))
{
    std::fflush(m_state->stream);
    m_state->file = ::memfd_create("captured", MFD_CLOEXEC);
    m_state->before = ::fcntl(m_state->descriptor, F_DUPFD_CLOEXEC, 3);
    if (m_state->file < 0 || m_state->before < 0 || ::dup2(m_state->file, m_state->descriptor) < 0)
    {
        throw std::runtime_error("the stream cannot be captured");
    }
}

CapturedStream::~CapturedStream()
{
    Finish();
}

std::string CapturedStream::Text()
{
    std::fflush(m_state->stream);
    std::array<char, 4096> buffer{};
    off_t at = 0;
    std::string text;
    for (auto count = ::pread(m_state->file, buffer.data(), buffer.size(), at); count > 0;
         count = ::pread(m_state->file, buffer.data(), buffer.size(), at))
    {
        text.append(buffer.data(), static_cast<std::size_t>(count));
        at += count;
    }
    return text;
}

std::string CapturedStream::Finish()
{
    if (m_state->before >= 0)
    {
        m_state->text = Text();
        ::dup2(m_state->before, m_state->descriptor);
        ::close(std::exchange(m_state->before, -1));
        ::close(m_state->file);
    }
    return m_state->text;
}

} // namespace LogTests
