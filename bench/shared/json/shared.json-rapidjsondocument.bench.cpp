// What parsing and writing a configuration tree cost, against the library as it comes: going down the stack, trusting
// the encoding, rounding numbers roughly. Kept up: parsing stays below that and writing below 1.1 times it, at every size.

#include <string>

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "bench.ratio.hpp"
#include "shared.json-rapidjsondocument.hpp"

namespace
{

using Shared::Json::RapidJsonDocument;

/// A configuration of at least `size` bytes.
std::string Configuration(std::size_t size)
{
    std::string text = R"({"success":true,"values":{"6b29fc40-ca47-1067-b31d-00dd010662da":{)";
    for (int i = 0; text.size() < size; ++i)
    {
        text += R"("/config/curl/)" + std::to_string(i) +
            R"(":{"uuid":"6b29fc40-ca47-1067-b31d-00dd010662da","netobj":"service","tags":["a","b"],"curl":)"
            R"({"target":"service.example.com","path":"/health","port":8443,"timeout":2.5,"headers":[]},)"
            R"("enabled":true,"users":null},)";
    }
    text += R"("last":0}}})";
    return text;
}

int Batch(std::size_t size)
{
    return size < 10'000 ? 100 : 1;
}

void Parse(benchmark::State& state)
{
    const auto text = Configuration(static_cast<std::size_t>(state.range(0)));
    Bench::Compare(
        state, Batch(text.size()), [&] { benchmark::DoNotOptimize(RapidJsonDocument(text)); },
        [&]
        {
            rapidjson::Document document;
            document.Parse(text.data(), text.size());
            benchmark::DoNotOptimize(document.HasParseError());
        });
    state.counters["ns_per_byte"] = state.counters["ours_ns"] / static_cast<double>(text.size());
}

void Write(benchmark::State& state)
{
    const auto text = Configuration(static_cast<std::size_t>(state.range(0)));
    const RapidJsonDocument ours(text);
    rapidjson::Document bare;
    bare.Parse(text.data(), text.size());
    Bench::Compare(
        state, Batch(text.size()), [&] { benchmark::DoNotOptimize(ours.GetJsonText()); },
        [&]
        {
            rapidjson::StringBuffer buffer;
            rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
            bare.Accept(writer);
            benchmark::DoNotOptimize(std::string(buffer.GetString(), buffer.GetSize()));
        });
    state.counters["ns_per_byte"] = state.counters["ours_ns"] / static_cast<double>(text.size());
}

} // namespace

BENCHMARK(Parse)->UseManualTime()->Arg(1'000)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Arg(10'000'000);
BENCHMARK(Write)->UseManualTime()->Arg(1'000)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Arg(10'000'000);
