#include "tools.velexplain-options.hpp"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

namespace Tools::VelExplain
{

namespace
{

/// Goes through the arguments, and puts each where it belongs.
class Parser
{
public:
    explicit Parser(const std::vector<std::string>& arguments) : e_arguments(arguments)
    {
    }

    Options Parse()
    {
        for (; m_next < e_arguments.size(); ++m_next)
        {
            const std::string& name = e_arguments[m_next];
            if (!TakeSwitch(name) && !TakeText(name) && !TakeFile(name))
            {
                throw std::invalid_argument("\"" + name + "\" is no option of velexplain");
            }
        }
        return m_options;
    }

private:
    bool TakeSwitch(const std::string& name)
    {
        if (name == "--json")
        {
            m_options.form = OutputForm::Json;
        }
        else if (name == "--help")
        {
            m_options.help = true;
        }
        else
        {
            return false;
        }
        return true;
    }

    bool TakeText(const std::string& name)
    {
        if (name == "--agent")
        {
            TakeOnce(name, m_options.agentUuid);
        }
        else if (name == "--user")
        {
            TakeOnce(name, m_options.username);
        }
        else if (name == "--results")
        {
            TakeOnce(name, m_options.results);
        }
        else if (name == "--group")
        {
            m_options.groups.push_back(TakeValue(name));
        }
        else if (name == "--tag")
        {
            m_options.tagIds.push_back(TakeValue(name));
        }
        else if (name == "--only")
        {
            m_options.only.insert(FindKind(TakeValue(name)));
        }
        else
        {
            return false;
        }
        return true;
    }

    bool TakeFile(const std::string& name)
    {
        const auto* const row = std::find_if(
            Requests.begin(), Requests.end(), [&name](const RequestRow& known) { return known.option == name; });
        if (row == Requests.end())
        {
            return false;
        }
        if (!m_options.files.emplace(row->request, TakeValue(name)).second)
        {
            ThrowGivenTwice(name);
        }
        return true;
    }

    void TakeOnce(const std::string& name, std::optional<std::string>& target)
    {
        if (target)
        {
            ThrowGivenTwice(name);
        }
        target = TakeValue(name);
    }

    std::string TakeValue(const std::string& name)
    {
        // An option in the place of a value is a value that was forgotten.
        if (m_next + 1 == e_arguments.size() || e_arguments[m_next + 1].starts_with("--"))
        {
            throw std::invalid_argument(name + " needs a value behind it");
        }
        return e_arguments[++m_next];
    }

    [[noreturn]] static void ThrowGivenTwice(const std::string& name)
    {
        throw std::invalid_argument(name + " is given twice");
    }

    static TestKind FindKind(const std::string& word)
    {
        const auto* const row = std::find_if(
            TestKinds.begin(), TestKinds.end(), [&word](const TestKindRow& known) { return known.word == word; });
        if (row == TestKinds.end())
        {
            throw std::invalid_argument("\"" + word + "\" is no kind of test; there are mtr, ete and curl");
        }
        return row->kind;
    }

    const std::vector<std::string>& e_arguments;
    std::size_t m_next = 0;
    Options m_options;
};

} // namespace

Options ParseOptions(const std::vector<std::string>& arguments)
{
    auto options = Parser(arguments).Parse();
    if (!options.help && !options.results && options.files.empty())
    {
        throw std::invalid_argument("there is nothing to explain: name a results folder, or files with answers");
    }
    return options;
}

std::string UsageText()
{
    return "velexplain --results FOLDER [options]\n"
           "velexplain --mtr FILE --tests FILE ... [options]\n"
           "    Explains of each test in the answers of a server whether an agent would run it, when, and why or why not: by\n"
           "    the agent's own code. Reads files only; no agent need be there.\n"
           "  --results FOLDER        a results folder of the laboratory: the latest answers that its agent got, the agent's\n"
           "                          identity and its user\n"
           "  --network-objects FILE  saved answers, as the server sent them; each wins over that of the results folder.\n"
           "  --tests FILE            One that is missing is read as an empty answer.\n"
           "  --tags FILE\n"
           "  --user-groups FILE\n"
           "  --mtr FILE\n"
           "  --curl FILE\n"
           "  --ete FILE\n"
           "  --agent UUID            whose tests; needed when the answers have several owners and no results folder\n"
           "                          tells\n"
           "  --user NAME             who is signed in, with the domain in front where there is one: DOMAIN\\name;\n"
           "                          without it, whom the answers are about\n"
           "  --group NAME            a group of the user, in the place of the answer; may be repeated\n"
           "  --tag ID                a tag of the agent (without \"/config/tags/\"), in the place of the answer; may be\n"
           "                          repeated\n"
           "  --only KIND             mtr, ete or curl; may be repeated\n"
           "  --json                  as JSON\n"
           "  --help                  this text\n"
           "Ends with 0, with 2 for wrong arguments, and with 1 when an input cannot be read.\n"
           "Tests of the same priority run in no particular order. Whether a test that is selected then runs in a cycle also\n"
           "depends on the state of the VPN, and on whether network tests are allowed on the machine.\n";
}

} // namespace Tools::VelExplain
