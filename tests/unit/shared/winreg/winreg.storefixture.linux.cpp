#include "winreg.storefixture.linux.hpp"

#include <fstream>
#include <iterator>
#include <stdexcept>

#include <sqlite3.h>

#include <grp.h>
#include <unistd.h>

using namespace Shared::WinReg;

namespace
{

template <typename Call>
std::uint32_t CodeOf(Call call)
{
    try
    {
        call();
    }
    catch (const Shared::Exception::Win32Exception& failure)
    {
        return failure.GetCode();
    }
    return 0;
}

sqlite3* Connection(void* database)
{
    return static_cast<sqlite3*>(database);
}

} // namespace

RawDatabase::RawDatabase(const std::string& path)
{
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    m_database = opened;
    if (result != SQLITE_OK)
    {
        throw std::runtime_error("cannot open " + path);
    }
}

RawDatabase::~RawDatabase()
{
    sqlite3_close(Connection(m_database));
}

void RawDatabase::Run(const std::string& sql)
{
    if (sqlite3_exec(Connection(m_database), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
    {
        throw std::runtime_error(sql + ": " + sqlite3_errmsg(Connection(m_database)));
    }
}

std::string RawDatabase::Query(const std::string& sql)
{
    std::string answer;
    const auto take = [](void* out, int count, char** values, char**)
    {
        *static_cast<std::string*>(out) = count > 0 && values[0] != nullptr ? values[0] : "";
        return 0;
    };
    if (sqlite3_exec(Connection(m_database), sql.c_str(), take, &answer, nullptr) != SQLITE_OK)
    {
        throw std::runtime_error(sql + ": " + sqlite3_errmsg(Connection(m_database)));
    }
    return answer;
}

void SettingsStoreTest::SetUp()
{
    CreateKey(Machine, Key);
}

void SettingsStoreTest::TearDown()
{
    if (HasFailure())
    {
        m_store.Keep();
    }
}

std::uint32_t SettingsStoreTest::CodeOfReading(const std::wstring& name, const std::wstring& path)
{
    return CodeOf([&] { GetStringValue(Machine, path, name); });
}

std::uint32_t SettingsStoreTest::CodeOfReadingNumber(const std::wstring& name)
{
    return CodeOf([&] { GetDwordValue(Machine, Key, name); });
}

std::uint32_t SettingsStoreTest::CodeOfWriting(const std::wstring& name, const std::wstring& value)
{
    return CodeOf([&] { SetStringValue(Machine, Key, name, value); });
}

std::string SettingsStoreTest::FailureOfWriting(const std::wstring& name)
{
    try
    {
        SetStringValue(Machine, Key, name, L"text");
    }
    catch (const std::exception& failure)
    {
        return failure.what();
    }
    return "no failure";
}

std::size_t SettingsStoreTest::CountErrors(const std::string& part) const
{
    return m_log.Count(Shared::Log::Level::Error, part);
}

std::vector<char> ReadBytes(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteBytes(const std::filesystem::path& path, const std::vector<char>& bytes)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

void BecomeOrdinaryUser()
{
    constexpr unsigned Nobody = 65534;
    if (::geteuid() == 0 &&
        (::setgroups(0, nullptr) != 0 || ::setresgid(Nobody, Nobody, Nobody) != 0 ||
         ::setresuid(Nobody, Nobody, Nobody) != 0))
    {
        throw std::runtime_error("cannot become an ordinary user");
    }
}
