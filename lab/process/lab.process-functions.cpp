#include "lab.process-functions.hpp"

#include "shared.util-functions.hpp"

#include <algorithm>
#include <set>

namespace Lab::Process
{

std::vector<Entry> DescendantsOf(std::uint32_t ancestor, const std::vector<Entry>& all)
{
    std::set<std::uint32_t> family = {ancestor};
    std::vector<Entry> descendants;
    // Children may be listed before their parents, so it is looked until nobody is new.
    for (bool isNew = true; isNew;)
    {
        isNew = false;
        for (const Entry& entry : all)
        {
            if (family.contains(entry.parentId) && family.insert(entry.id).second)
            {
                descendants.push_back(entry);
                isNew = true;
            }
        }
    }
    return descendants;
}

bool HasName(const Entry& entry, const std::string& fileName)
{
    return Shared::Util::EqualsIgnoreCase(std::string_view(entry.program.filename().string()), fileName);
}

} // namespace Lab::Process
