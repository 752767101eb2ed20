#include "shared.crypto-sensitivestring.hpp"

#include "shared.util-utf8.hpp"

#include <string>

namespace Shared::Crypto
{

SensitiveString ToSensitiveString(std::string_view utf8)
{
    std::wstring text = Util::Utf8::Decode(utf8);
    const WipeOnExit wipe(text);
    return SensitiveString(text);
}

SensitiveNarrowString ToUtf8(const SensitiveString& text)
{
    std::string utf8 = Util::Utf8::Encode(text.GetView());
    const WipeOnExit wipe(utf8);
    return SensitiveNarrowString(utf8);
}

} // namespace Shared::Crypto
