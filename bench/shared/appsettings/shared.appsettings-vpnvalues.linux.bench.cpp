// What it costs to know the user and the tunnel: asked at every change of a key, every retry and every cycle. The floor is
// the least that any way must do: a prepared select for each of the six values, and the bare cipher. Kept up: below 200
// microseconds, and below twice the floor.

#include "shared.appsettings-vpnvalues.hpp"

#include "bench.ratio.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.crypto-functions.hpp"
#include "shared.log-configuration.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-settingsstore.hpp"

#include <array>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <sqlite3.h>

namespace
{

namespace Settings = Shared::AppSettings;
namespace WinReg = Shared::WinReg;
using Shared::Util::ConvertStringType;
using WinReg::Root;

constexpr int Batch = 50;
constexpr std::string_view Key = "the constant part and a serial number";
constexpr std::string_view User =
    "username=anna.lindqvist,domain=LABORATORY,tenant-id=6b29fc40-ca47-1067-b31d-00dd010662da,"
    "sub-tenant-id=0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f0";
constexpr std::array<const char*, 6> Names = {"tunnel-status", "gateway-address", "source-region",
                                              "tunnel-ip",     "user-id",         "gateway-location"};

void LayOut()
{
    const std::wstring& path = Settings::GetVpnVelKeyPath();
    WinReg::CreateKey(Root::LocalMachine, path);
    const std::pair<const wchar_t*, std::wstring> values[] = {
        {L"tunnel-status", L"connected"},
        {L"gateway-address", L"gateway=gateway.example,ipv4=192.0.2.1,ipv6=2001:db8::1"},
        {L"source-region", L"Europe"},
        {L"tunnel-ip", L"ipv4=10.0.0.1,ipv6=fd00::1"},
        {L"user-id", ConvertStringType(std::string_view(Shared::Crypto::Encrypt(User, Key)))},
        {L"gateway-location", L"Frankfurt"}};
    for (const auto& [name, text] : values)
    {
        WinReg::SetStringValue(Root::LocalMachine, path, name, text);
    }
    Shared::Log::ConfigureLogging(0, Shared::Log::Level::Debug, "", 1, 1);
}

/// A connection and one prepared statement, without anything around it.
class BareStore
{
public:
    explicit BareStore(const std::string& file)
    {
        constexpr const char* Select = "SELECT v.type, v.data FROM reg_key AS k JOIN reg_value AS v ON v.key = k.id "
                                       "WHERE k.path = ?1 AND v.name = ?2";
        if (sqlite3_open_v2(file.c_str(), &m_database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) !=
                SQLITE_OK ||
            sqlite3_prepare_v3(m_database, Select, -1, SQLITE_PREPARE_PERSISTENT, &m_statement, nullptr) != SQLITE_OK)
        {
            throw std::runtime_error("no floor to measure");
        }
        m_path = ConvertStringType(Settings::GetVpnVelKeyPath());
        sqlite3_bind_text(m_statement, 1, m_path.c_str(), -1, SQLITE_STATIC);
    }

    BareStore(const BareStore&) = delete;
    BareStore& operator=(const BareStore&) = delete;

    ~BareStore()
    {
        sqlite3_finalize(m_statement);
        sqlite3_close(m_database);
    }

    std::string Read(const char* name)
    {
        sqlite3_bind_text(m_statement, 2, name, -1, SQLITE_STATIC);
        if (sqlite3_step(m_statement) != SQLITE_ROW)
        {
            throw std::runtime_error("no row");
        }
        std::string text = reinterpret_cast<const char*>(sqlite3_column_text(m_statement, 1));
        sqlite3_reset(m_statement);
        return text;
    }

private:
    sqlite3* m_database = nullptr;
    sqlite3_stmt* m_statement = nullptr;
    std::string m_path;
};

/// The library's own calls, with the algorithms looked up beforehand and the contexts used again.
class BareCipher
{
public:
    BareCipher(const BareCipher&) = delete;
    BareCipher& operator=(const BareCipher&) = delete;
    BareCipher() = default;

    ~BareCipher()
    {
        EVP_CIPHER_CTX_free(m_context);
        EVP_CIPHER_free(m_cipher);
        EVP_MD_free(m_digest);
    }

    std::size_t Open(const std::string& base64)
    {
        std::array<unsigned char, 4096> bytes{};
        std::array<unsigned char, 4096> plain{};
        std::array<unsigned char, 32> key{};
        const std::array<unsigned char, 16> iv{};
        const int size = EVP_DecodeBlock(
            bytes.data(), reinterpret_cast<const unsigned char*>(base64.data()), static_cast<int>(base64.size()));
        int written = 0;
        int last = 0;
        EVP_Digest(Key.data(), Key.size(), key.data(), nullptr, m_digest, nullptr);
        EVP_DecryptInit_ex2(m_context, m_cipher, key.data(), iv.data(), nullptr);
        EVP_DecryptUpdate(m_context, plain.data(), &written, bytes.data(), size / 16 * 16);
        EVP_DecryptFinal_ex(m_context, plain.data() + written, &last);
        benchmark::DoNotOptimize(plain);
        return static_cast<std::size_t>(written) + static_cast<std::size_t>(last);
    }

private:
    EVP_MD* m_digest = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    EVP_CIPHER* m_cipher = EVP_CIPHER_fetch(nullptr, "AES-256-CBC", nullptr);
    EVP_CIPHER_CTX* m_context = EVP_CIPHER_CTX_new();
};

void GetVpnConnectionInfo(benchmark::State& state)
{
    const TestSupport::TemporarySettingsStore store;
    LayOut();
    const Shared::Crypto::SensitiveString key = Shared::Crypto::ToSensitiveString(Key);
    if (Settings::GetVpnConnectionInfo(key).fullUsername != L"LABORATORY\\anna.lindqvist")
    {
        state.SkipWithError("the user cannot be read");
        return;
    }
    BareStore bare(store.GetPath());
    BareCipher cipher;
    Bench::Compare(
        state, Batch, [&key] { benchmark::DoNotOptimize(Settings::GetVpnConnectionInfo(key)); },
        [&bare, &cipher]
        {
            for (const char* const name : Names)
            {
                const std::string text = bare.Read(name);
                if (std::string_view(name) == "user-id")
                {
                    benchmark::DoNotOptimize(cipher.Open(text));
                }
                benchmark::DoNotOptimize(text);
            }
        });
}

/// The same six values through the registry's operations, to tell what of the whole is reading.
void ReadTheSixValues(benchmark::State& state)
{
    const TestSupport::TemporarySettingsStore store;
    LayOut();
    BareStore bare(store.GetPath());
    std::array<std::wstring, Names.size()> names;
    for (std::size_t i = 0; i < Names.size(); ++i)
    {
        names[i] = ConvertStringType(std::string_view(Names[i]));
    }
    Bench::Compare(
        state, Batch,
        [&names]
        {
            std::wstring text;
            for (const std::wstring& name : names)
            {
                benchmark::DoNotOptimize(
                    WinReg::TryGetStringValue(Root::LocalMachine, Settings::GetVpnVelKeyPath(), name, text));
            }
        },
        [&bare]
        {
            for (const char* const name : Names)
            {
                benchmark::DoNotOptimize(bare.Read(name));
            }
        });
}

} // namespace

BENCHMARK(GetVpnConnectionInfo)->UseManualTime();
BENCHMARK(ReadTheSixValues)->UseManualTime();
