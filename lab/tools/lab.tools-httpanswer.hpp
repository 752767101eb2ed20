#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Lab::Tools
{

/// What came is no answer of HTTP. what() says why.
class HttpAnswerError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Reads the answer to a request of HTTP/1.0 as its bytes arrive, in parts of any size. Of the body nothing is kept but its
/// length.
class HttpAnswerReader
{
public:
    /// The longest head that is taken.
    static constexpr std::size_t LongestHead = 65'536;

    /// Throws HttpAnswerError.
    void Add(std::string_view bytes);

    /// Whether the head has come.
    bool HasHead() const noexcept;
    /// Whether all has come that the head tells of. Without a length there, the answer ends with the connection.
    bool IsComplete() const noexcept;
    /// Whether the answer is cut off if the connection ends now.
    bool IsCutOff() const noexcept;

    /// 0 without a head.
    std::uint32_t GetStatus() const noexcept;
    /// Bytes of the body so far, and never more than the head tells of.
    std::uint64_t GetBodySize() const noexcept;

private:
    void ReadHead();
    void AddBody(std::size_t size) noexcept;

    std::string m_head;
    bool m_hasHead = false;
    std::uint32_t m_status = 0;
    std::optional<std::uint64_t> m_length;
    std::uint64_t m_size = 0;
};

} // namespace Lab::Tools
