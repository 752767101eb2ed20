#include "shared.security-functions.hpp"

#include "contract.toolrunner.hpp"
#include "shared.concurrency-process.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.security-identity.linux.hpp"
#include "shared.security-landlock.linux.hpp"
#include "shared.util-functions.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-sanitizers.hpp"
#include "test.support-temporaryfolder.hpp"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using Contract::Report;
using Contract::RunTool;
using Contract::ToolRunner;
using Shared::Raii::Win32Handle;
using TestSupport::Win32Text;
namespace Security = Shared::Security;

namespace
{

constexpr const char* NoCapability = "0000000000000000";
constexpr const char* RawSockets = "0000000000002000";
constexpr std::uint32_t OrdinaryUser = 54321;

std::string FourTimes(const std::string& id)
{
    return id + "\t" + id + "\t" + id + "\t" + id;
}

std::string ServiceUser()
{
    for (const char* const name : {"tarvane-vel", "nobody"})
    {
        if (const passwd* const entry = ::getpwnam(name); entry != nullptr)
        {
            return std::to_string(entry->pw_uid);
        }
    }
    return "65534";
}

/// Whether other users can get at the programs of the tests.
bool IsOpenToOthers()
{
    std::filesystem::path folder = Contract::OwnFolder();
    for (; folder != folder.root_path(); folder = folder.parent_path())
    {
        struct stat status = {};
        if (::stat(folder.c_str(), &status) != 0 || (status.st_mode & S_IXOTH) == 0)
        {
            return false;
        }
    }
    return true;
}

class RootTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (::geteuid() != 0)
        {
            GTEST_SKIP() << "only root can start children of other users";
        }
        if (!IsOpenToOthers())
        {
            GTEST_SKIP() << "other users cannot get at the programs of the tests";
        }
    }
};

void ExpectCapabilities(const Report& report, const std::string& expected)
{
    for (const char* const kind : {"effective", "permitted", "inheritable", "ambient"})
    {
        EXPECT_EQ(report.One(std::string("capabilities.") + kind), expected) << kind;
    }
}

Win32Handle OrdinaryUsersToken()
{
    Security::Identity identity;
    identity.changesUser = 1;
    identity.userId = OrdinaryUser;
    identity.groupId = OrdinaryUser;
    return Win32Handle(Security::MakeToken(identity));
}

/// The tool of an owner, who is this process's own user if no token says otherwise.
std::string RunByOwner(std::vector<std::wstring> arguments, Win32Handle token = {})
{
    ToolRunner owner(std::move(arguments), std::move(token));
    owner.program = Contract::OwnerTool;
    owner.Start();
    return Contract::ReadToEnd(owner);
}

/// The tool of an owner that is an ordinary user.
std::string RunAsOrdinaryUser(std::vector<std::wstring> arguments)
{
    return RunByOwner(std::move(arguments), OrdinaryUsersToken());
}

/// Whoever owns what the kernel tells of a process to its owner alone.
std::uint32_t OwnerOf(std::uint32_t process)
{
    struct stat status = {};
    return ::stat(("/proc/" + std::to_string(process) + "/fd").c_str(), &status) == 0 ? status.st_uid : UINT32_MAX;
}

std::uint32_t ParentOf(std::uint32_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(file, line);)
    {
        if (line.starts_with("PPid:"))
        {
            return static_cast<std::uint32_t>(std::stoul(line.substr(5)));
        }
    }
    return 0;
}

/// The variables that a child may have, by docs/platform.md.
bool IsListed(const std::string& entry)
{
    static const std::set<std::string> Names = {
        "PATH",
        "LANG",
        "LANGUAGE",
        "TZ",
        "TERM",
        "TMPDIR",
        "http_proxy",
        "https_proxy",
        "all_proxy",
        "no_proxy",
        "HTTPS_PROXY",
        "ALL_PROXY",
        "NO_PROXY",
        "SSL_CERT_FILE",
        "SSL_CERT_DIR",
        "STATE_DIRECTORY",
        "RUNTIME_DIRECTORY"};
    const std::string name = entry.substr(0, entry.find('='));
    return Names.count(name) == 1 || name.starts_with("LC_");
}

/// Variables of this process for as long as this object lives, of which no child may hear.
class Secrets
{
public:
    Secrets()
    {
        for (const char* const name : Names)
        {
            ::setenv(name, "secret", 1);
        }
    }

    Secrets(const Secrets&) = delete;
    Secrets& operator=(const Secrets&) = delete;

    ~Secrets()
    {
        for (const char* const name : Names)
        {
            ::unsetenv(name);
        }
    }

private:
    static constexpr std::array Names = {"VEL_SECRET", "AWS_SECRET_ACCESS_KEY", "LD_LIBRARY_PATHS", "CURL_HOME"};
};

} // namespace

// --- The agent is root

using ChildOfRootTest = RootTest;

TEST_F(ChildOfRootTest, WithoutATokenAToolIsWhatItsStarterIs)
{
    const Report report(RunTool({L"--report"}));
    EXPECT_EQ(report.One("user"), FourTimes("0"));
    EXPECT_NE(report.One("capabilities.effective"), NoCapability);
    EXPECT_EQ(report.One("no-new-privileges"), "0");
}

TEST_F(ChildOfRootTest, APathTestIsTheServiceUserWithRawSocketsAlone)
{
    const Report report(RunTool({L"--report"}, Security::GetMtrChildProcessIdentity(false)));
    EXPECT_EQ(report.One("user"), FourTimes(ServiceUser()));
    EXPECT_EQ(report.One("groups"), "");
    ExpectCapabilities(report, RawSockets);
    EXPECT_EQ(report.One("capabilities.bounding"), RawSockets);
    EXPECT_EQ(report.One("no-new-privileges"), "1");
    EXPECT_EQ(report.One("descriptors"), "0,1,2");
}

TEST_F(ChildOfRootTest, AnotherToolIsTheServiceUserWithoutAnyCapability)
{
    const Report report(RunTool({L"--report"}, Security::GetCurlTcPingChildProcessIdentity(false)));
    EXPECT_EQ(report.One("user"), FourTimes(ServiceUser()));
    EXPECT_EQ(report.One("groups"), "");
    ExpectCapabilities(report, NoCapability);
    EXPECT_EQ(report.One("capabilities.bounding"), NoCapability);
    EXPECT_EQ(report.One("no-new-privileges"), "1");
}

TEST_F(ChildOfRootTest, RestrictedToolsAreRootWithoutRootsRights)
{
    const Report ofPathTest(RunTool({L"--report"}, Security::GetMtrChildProcessIdentity(true)));
    EXPECT_EQ(ofPathTest.One("user"), FourTimes("0"));
    ExpectCapabilities(ofPathTest, RawSockets);
    EXPECT_EQ(ofPathTest.One("no-new-privileges"), "1");
    const Report ofOther(RunTool({L"--report"}, Security::GetCurlTcPingChildProcessIdentity(true)));
    EXPECT_EQ(ofOther.One("user"), FourTimes("0"));
    ExpectCapabilities(ofOther, NoCapability);
    EXPECT_EQ(ofOther.One("no-new-privileges"), "1");
}

TEST_F(ChildOfRootTest, HelpersWithSuchAnIdentityHaveNoCapability)
{
    using Account = Security::WellKnownAccount;
    for (const Account account : {Account::LocalService, Account::NetworkService})
    {
        const Report report(RunTool({L"--report"}, Security::LogonService(account)));
        EXPECT_EQ(report.One("user"), FourTimes(ServiceUser()));
        ExpectCapabilities(report, NoCapability);
    }
    ExpectCapabilities(Report(RunTool({L"--report"}, Security::CreateAdminRestrictedToken())), NoCapability);
}

TEST_F(ChildOfRootTest, TheConnectorIsTheServiceUserOrRootWithoutRightsAndHasTheStopEventBesideItsStreams)
{
    for (const bool restricted : {false, true})
    {
        const Report report(RunByOwner({restricted ? L"--connector-restricted" : L"--connector", L"--report"}));
        EXPECT_EQ(report.One("user"), FourTimes(restricted ? "0" : ServiceUser()));
        EXPECT_EQ(report.One("group"), FourTimes(restricted ? "0" : ServiceUser()));
        EXPECT_EQ(report.One("groups"), "");
        ExpectCapabilities(report, NoCapability);
        EXPECT_EQ(report.One("capabilities.bounding"), NoCapability);
        EXPECT_EQ(report.One("no-new-privileges"), "1");
        EXPECT_EQ(report.One("confined"), "0");
        EXPECT_THAT(report.One("descriptors"), testing::MatchesRegex("0,1,2,[0-9]+"));
    }
}

TEST_F(ChildOfRootTest, OfItsStartersEnvironmentNoChildHasMoreThanTheList)
{
    const Secrets secrets;
    const auto environmentOf = [](Win32Handle token)
    {
        return Report(RunTool({L"--report"}, std::move(token))).Texts("environment");
    };
    // Who is another user is not told about this one.
    EXPECT_THAT(environmentOf(Security::GetMtrChildProcessIdentity(false)), testing::Each(testing::Truly(IsListed)));
    EXPECT_THAT(
        environmentOf(Security::GetCurlTcPingChildProcessIdentity(false)), testing::Each(testing::Truly(IsListed)));
    const auto isListedOrAboutTheUser = [](const std::string& entry)
    {
        return IsListed(entry) || entry.starts_with("HOME=") || entry.starts_with("USER=") ||
            entry.starts_with("LOGNAME=") || entry.starts_with("XDG_RUNTIME_DIR=");
    };
    EXPECT_THAT(
        environmentOf(Security::GetMtrChildProcessIdentity(true)),
        testing::Each(testing::Truly(isListedOrAboutTheUser)));
    EXPECT_THAT(
        environmentOf(Security::GetCurlTcPingChildProcessIdentity(true)),
        testing::Each(testing::Truly(isListedOrAboutTheUser)));
}

TEST_F(ChildOfRootTest, OnlyALowToolIsConfined)
{
    if (Security::GetLandlockVersion() == 0)
    {
        GTEST_SKIP() << "this kernel has no Landlock";
    }
    const auto isConfined = [](Win32Handle token)
    {
        return Report(RunTool({L"--report"}, std::move(token))).One("confined");
    };
    EXPECT_EQ(isConfined(Security::GetCurlTcPingChildProcessIdentity(true)), "1");
    EXPECT_EQ(isConfined(Security::GetCurlTcPingChildProcessIdentity(false)), "0");
    EXPECT_EQ(isConfined(Security::GetMtrChildProcessIdentity(true)), "0");
    EXPECT_EQ(isConfined({}), "0");
}

TEST_F(ChildOfRootTest, WithoutDescriptorsThereIsNoToken)
{
    if (TestSupport::IsAddressSanitized)
    {
        GTEST_SKIP() << "the sanitizer needs descriptors of its own";
    }
    const auto textWith = [](rlim_t descriptors, auto function)
    {
        rlimit before = {};
        ::getrlimit(RLIMIT_NOFILE, &before);
        const rlimit scarce = {descriptors, before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &scarce);
        std::string text = Win32Text(function);
        ::setrlimit(RLIMIT_NOFILE, &before);
        return text;
    };
    // What the system loads for the first failure of a process is there.
    (void)Win32Text([] { throw Shared::Exception::Win32Exception("the first failure", EMFILE); });
    const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(next);
    const auto first = static_cast<rlim_t>(next);
    EXPECT_EQ(textWith(first, [] { (void)Security::CreateAdminRestrictedToken(); }), "OpenProcessToken() failed");
    EXPECT_EQ(
        textWith(first + 1, [] { (void)Security::CreateAdminRestrictedToken(); }), "CreateRestrictedToken() failed");
    EXPECT_EQ(
        textWith(first, [] { (void)Security::LogonService(Security::WellKnownAccount::NetworkService); }),
        "LogonUserW() failed");
}

TEST_F(ChildOfRootTest, OnlyPathTestsCanOpenRawSockets)
{
    for (const bool restricted : {false, true})
    {
        EXPECT_EQ(RunTool({L"--try-raw-socket"}, Security::GetMtrChildProcessIdentity(restricted)), "yes\n");
        EXPECT_EQ(RunTool({L"--try-raw-socket"}, Security::GetCurlTcPingChildProcessIdentity(restricted)), "no\n");
    }
}

TEST_F(ChildOfRootTest, WhatAToolRunsHasNoMoreThanTheTool)
{
    // The grandchild is started by a shell of the system, so that there is another program in between.
    ToolRunner runner(
        {L"-c", L"exec " + Contract::OwnFolder() + L"/bin/shared-process-probe --report"},
        Security::GetMtrChildProcessIdentity(true));
    runner.program = L"/bin/sh";
    runner.Start();
    const Report report(Contract::ReadToEnd(runner));
    ExpectCapabilities(report, RawSockets);
}

TEST_F(ChildOfRootTest, ALowToolReadsTheSystemAndWritesNowhere)
{
    if (Security::GetLandlockVersion() == 0)
    {
        GTEST_SKIP() << "this kernel has no Landlock";
    }
    const TestSupport::TemporaryFolder folder;
    const std::wstring file = Shared::Util::ConvertStringType((folder.Path() / "file").string());
    const auto tried = [&file](const std::wstring& what, bool low)
    {
        return RunTool(
            {what + file},
            low ? Security::GetCurlTcPingChildProcessIdentity(true) : Security::GetMtrChildProcessIdentity(true));
    };
    // The same user may do it, and so does the tool whose identity is not low.
    EXPECT_EQ(tried(L"--try-write=", false), "yes\n");
    EXPECT_EQ(tried(L"--try-write=", true), "no\n");
    EXPECT_EQ(tried(L"--try-read=", false), "yes\n");
    EXPECT_EQ(tried(L"--try-read=", true), "no\n");
    const auto low = [](const std::wstring& what)
    {
        return RunTool({what}, Security::GetCurlTcPingChildProcessIdentity(true));
    };
    EXPECT_EQ(low(L"--try-read=/etc/passwd"), "yes\n");
    EXPECT_EQ(low(L"--try-run=/bin/true"), "yes\n");
    EXPECT_EQ(low(L"--try-write=/dev/null"), "yes\n");
    EXPECT_EQ(low(L"--try-write=/etc/vel-test"), "no\n");
}

TEST_F(ChildOfRootTest, AToolOfTheServiceUserCannotEndTheAgent)
{
    const std::wstring own = std::to_wstring(::getpid());
    EXPECT_EQ(RunTool({L"--try-signal=" + own}, Security::GetCurlTcPingChildProcessIdentity(false)), "no\n");
}

TEST_F(ChildOfRootTest, WhoIsRootIsTheSystemsAccount)
{
    EXPECT_TRUE(Security::IsRunningAs(Security::WellKnownAccount::LocalSystem));
    EXPECT_FALSE(Security::IsRunningAs(Security::WellKnownAccount::LocalService));
    EXPECT_FALSE(Security::IsRunningAs(Security::WellKnownAccount::NetworkService));
}

TEST_F(ChildOfRootTest, AHandleThatIsNoTokenStartsNothing)
{
    ToolRunner runner(
        {L"--exit=0"}, Win32Handle(Shared::Raii::Native::FromDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC))));
    EXPECT_EQ(Win32Text([&] { runner.Start(); }), "CreateProcess() failed");
    const Win32Handle noToken(Shared::Raii::Native::FromDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC)));
    EXPECT_EQ(Win32Text([&] { Security::SetTokenToLowIntegrity(noToken); }), "SetTokenInformation() failed");
}

// --- The agent is an ordinary user

using ChildOfUserTest = RootTest;

TEST_F(ChildOfUserTest, EveryToolIsTheSameUserWithoutRights)
{
    for (const wchar_t* const how :
         {L"--path-tool", L"--plain-tool", L"--path-tool-restricted", L"--plain-tool-restricted"})
    {
        const Report report(RunAsOrdinaryUser({how, L"--report"}));
        EXPECT_EQ(report.One("user"), FourTimes(std::to_string(OrdinaryUser)));
        ExpectCapabilities(report, NoCapability);
        EXPECT_EQ(report.One("no-new-privileges"), "1");
        EXPECT_EQ(report.One("descriptors"), "0,1,2");
    }
}

TEST_F(ChildOfUserTest, APathTestHasNoRawSocketsToBeGiven)
{
    const std::string output = RunAsOrdinaryUser({L"--path-tool", L"--try-raw-socket"});
    EXPECT_THAT(output, testing::HasSubstr("\nno\n"));
    EXPECT_THAT(output, testing::HasSubstr("may not open raw sockets"));
}

TEST_F(ChildOfUserTest, ALowToolWritesNowhere)
{
    if (Security::GetLandlockVersion() == 0)
    {
        GTEST_SKIP() << "this kernel has no Landlock";
    }
    const TestSupport::TemporaryFolder folder;
    ASSERT_EQ(::chown(folder.Path().c_str(), OrdinaryUser, OrdinaryUser), 0);
    const std::wstring file = Shared::Util::ConvertStringType((folder.Path() / "file").string());
    EXPECT_THAT(RunAsOrdinaryUser({L"--plain-tool-restricted", L"--try-write=" + file}), testing::HasSubstr("\nno\n"));
    EXPECT_THAT(RunAsOrdinaryUser({L"--plain-tool", L"--try-write=" + file}), testing::HasSubstr("\nyes\n"));
}

TEST_F(ChildOfUserTest, ItsToolsEndWhenItIsKilled)
{
    ToolRunner owner({L"--plain-tool", L"--spawn-daemon"}, OrdinaryUsersToken());
    owner.program = Contract::OwnerTool;
    owner.Start();
    const std::string output = Contract::ReadUntilNumber(owner, "grandchild");
    const std::uint32_t grandchild = Contract::NumberIn(output, "grandchild");
    ASSERT_TRUE(Contract::IsRunning(grandchild));
    Contract::KillProcess(owner.GetProcessId());
    EXPECT_TRUE(Contract::AwaitGone(Contract::NumberIn(output, "child")));
    EXPECT_TRUE(Contract::AwaitGone(grandchild));
}

TEST_F(ChildOfUserTest, WhatItsKeeperRemembersOfItIsNobodysToSee)
{
    ToolRunner owner({L"--plain-tool", L"--hang"}, OrdinaryUsersToken());
    owner.program = Contract::OwnerTool;
    owner.Start();
    const std::uint32_t tool = Contract::NumberIn(Contract::ReadUntilNumber(owner, "child"), "child");
    EXPECT_EQ(OwnerOf(tool), OrdinaryUser);
    EXPECT_EQ(OwnerOf(ParentOf(tool)), 0U);
}
