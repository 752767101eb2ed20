// Any bytes as the answer of a web server: read at once and byte by byte they are the same, and the body is never longer
// than what has come.

#include "lab.tools-httpanswer.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <tuple>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Lab::Tools::HttpAnswerReader;

/// Whether it was an answer, and what was read of it.
using Reading = std::tuple<bool, bool, bool, bool, std::uint32_t, std::uint64_t>;

Reading Read(std::string_view text, std::size_t part)
{
    HttpAnswerReader reader;
    bool isAnswer = true;
    try
    {
        for (; !text.empty(); text.remove_prefix(part < text.size() ? part : text.size()))
        {
            reader.Add(text.substr(0, part));
        }
    }
    catch (const Lab::Tools::HttpAnswerError&)
    {
        isAnswer = false;
    }
    return {
        isAnswer,
        isAnswer && reader.HasHead(),
        isAnswer && reader.IsComplete(),
        isAnswer && reader.IsCutOff(),
        isAnswer ? reader.GetStatus() : 0,
        isAnswer ? reader.GetBodySize() : 0};
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const Reading whole = Read(text, size);
    if (Read(text, 1) != whole || std::get<5>(whole) > size)
    {
        std::abort();
    }
    return 0;
}
