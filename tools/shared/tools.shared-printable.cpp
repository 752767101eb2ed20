#include "tools.shared-printable.hpp"

#include <cstddef>

#include <fmt/format.h>

#include "shared.util-utf8.hpp"

namespace Tools
{

std::string Printable(std::string_view text)
{
    std::string result;
    const auto valid = Shared::Util::Utf8::DropInvalid(text);
    for (std::size_t i = 0; i < valid.size(); ++i)
    {
        const auto byte = static_cast<unsigned char>(valid[i]);
        const auto next = static_cast<unsigned char>(i + 1 < valid.size() ? valid[i + 1] : '\0');
        if (byte < 0x20 || byte == 0x7F)
        {
            result += fmt::format("\\x{:02X}", byte);
        }
        else if (byte == 0xC2 && next < 0xA0)
        {
            // The second set of control characters, U+0080 to U+009F.
            result += fmt::format("\\x{:02X}", next);
            ++i;
        }
        else
        {
            result.push_back(valid[i]);
        }
    }
    return result;
}

} // namespace Tools
