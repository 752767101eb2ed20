#include "tools.shared-entry.hpp"

#include "shared.util-utf8.hpp"

int wmain(int argc, wchar_t** argv)
{
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i)
    {
        arguments.push_back(Shared::Util::Utf8::Encode(argv[i]));
    }
    return Tools::Run(arguments);
}
