// Any packets, and any way of taking what they bring, beside a second reader that is slow and simple.
//   Each step begins with a byte. Its lowest two bits say what is done:
//     0  take: the next byte is how many bytes, times 1024 and at most 200,000
//     1  a packet: 4 bytes of header, 2 bytes of length of what follows (times 4), 1 byte of room for it (times 512)
//     2  the same, with the header that the rules ask for and what fits them of the length
//     3  put back what was taken last

#include "fuzz.require.hpp"
#include "shared.ipc-pipeframes.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace Shared::Ipc::Frames;
using Bytes = std::vector<std::uint8_t>;

/// The steps, byte by byte; zeros at the end.
class Script
{
public:
    explicit Script(std::span<const std::uint8_t> bytes) : m_bytes(bytes)
    {
    }

    bool IsAtEnd() const
    {
        return m_bytes.empty();
    }

    std::uint32_t Next(int count = 1)
    {
        std::uint32_t value = 0;
        for (int i = 0; i < count && !m_bytes.empty(); ++i, m_bytes = m_bytes.subspan(1))
        {
            value |= static_cast<std::uint32_t>(m_bytes.front()) << (8 * i);
        }
        return value;
    }

private:
    std::span<const std::uint8_t> m_bytes;
};

/// What a reader ought to be, without thought for copies.
struct Model
{
    bool isInMessage = false;
    std::uint32_t promised = 0;
    Bytes here;
};

class Checker
{
public:
    void Take(std::size_t count)
    {
        Bytes taken(count);
        taken.resize(m_reader.Take(taken));
        Require(taken.size() == std::min(count, m_model.here.size()));
        Require(std::equal(taken.begin(), taken.end(), m_model.here.begin()));
        m_model.here.erase(m_model.here.begin(), m_model.here.begin() + static_cast<std::ptrdiff_t>(taken.size()));
        m_taken = std::move(taken);
        FinishAtEnd();
    }

    void PutBack()
    {
        if (m_reader.IsInMessage())
        {
            m_reader.PutBack(m_taken);
            m_model.here.insert(m_model.here.begin(), m_taken.begin(), m_taken.end());
        }
        m_taken.clear();
    }

    /// False when the packet broke the rules.
    bool Bring(std::uint32_t header, std::size_t part, std::size_t room)
    {
        // Only when nothing is here, as a reader does.
        Take(m_model.here.size());
        m_taken.clear();
        Bytes packet(HeaderSize + part);
        const Header encoded = EncodeHeader(header);
        std::copy(encoded.begin(), encoded.end(), packet.begin());
        for (std::size_t i = 0; i < part; ++i)
        {
            packet[HeaderSize + i] = static_cast<std::uint8_t>(m_seed + i * 31);
        }
        ++m_seed;
        Bytes direct(room);
        const std::optional<std::size_t> accepted = Deliver(packet, direct);
        Require(accepted.has_value() == IsAllowed(header, part));
        if (!accepted)
        {
            return false;
        }
        Require(*accepted == std::min(part, std::min(room, LargestPart)));
        Require(std::equal(
            direct.begin(), direct.begin() + static_cast<std::ptrdiff_t>(*accepted), packet.begin() + HeaderSize));
        m_model.isInMessage = true;
        m_model.promised = header - static_cast<std::uint32_t>(part);
        m_model.here.assign(packet.begin() + static_cast<std::ptrdiff_t>(HeaderSize + *accepted), packet.end());
        FinishAtEnd();
        return true;
    }

    std::uint32_t GetPromised() const
    {
        return m_model.promised;
    }

private:
    std::optional<std::size_t> Deliver(const Bytes& packet, Bytes& direct)
    {
        const MessageReader::Places places = m_reader.Prepare(direct);
        std::size_t done = 0;
        for (const auto& place : {places.header, places.direct, places.kept})
        {
            const std::size_t count = std::min(place.size(), packet.size() - done);
            std::copy_n(packet.begin() + static_cast<std::ptrdiff_t>(done), count, place.begin());
            done += count;
        }
        return m_reader.Accept(packet.size());
    }

    bool IsAllowed(std::uint32_t header, std::size_t part) const
    {
        const bool isExpected = m_model.promised > 0 ? header == m_model.promised : header <= LongestMessage;
        return isExpected && part <= LargestPart && part <= header && (part == header || part >= SmallestPart);
    }

    void FinishAtEnd()
    {
        Require(m_reader.IsInMessage() == m_model.isInMessage);
        Require(m_reader.GetUnread() == m_model.here.size() + m_model.promised);
        const bool isAtEnd = m_model.isInMessage && m_model.here.empty() && m_model.promised == 0;
        Require(m_reader.IsAtEnd() == isAtEnd);
        if (isAtEnd)
        {
            m_reader.FinishMessage();
            m_model.isInMessage = false;
        }
    }

    MessageReader m_reader;
    Model m_model;
    Bytes m_taken;
    std::uint8_t m_seed = 0;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t MostTaken = 200'000;
    Script script({data, size});
    Checker checker;
    for (int step = 0; step < 100 && !script.IsAtEnd(); ++step)
    {
        switch (script.Next() & 3U)
        {
        case 0:
            checker.Take(std::min<std::size_t>(script.Next() * 1024UL, MostTaken));
            break;
        case 1:
        {
            const std::uint32_t header = script.Next(4);
            const std::size_t part = script.Next(2) * 4UL;
            if (!checker.Bring(header, part, script.Next() * 512UL))
            {
                return 0;
            }
            break;
        }
        case 2:
        {
            const std::uint32_t wanted = script.Next(4) % 500'000;
            const std::uint32_t header = checker.GetPromised() > 0 ? checker.GetPromised() : wanted;
            const std::size_t part = std::clamp<std::size_t>(script.Next(2) * 4UL, SmallestPart, LargestPart);
            Require(checker.Bring(header, std::min<std::size_t>(header, part), script.Next() * 512UL));
            break;
        }
        default:
            checker.PutBack();
            break;
        }
    }
    return 0;
}
