// One press dispatched across 50 names, each with its stored shortcut decoded anew, against a
// bare loop that parses the same 50 stored strings, in the same run.
#include "platform/sim/FakeHotKeyService.h"
#include "platform/sim/ManualRunLoop.h"
#include "platform/sim/MemoryDefaults.h"
#include "shortcuts/GlobalShortcuts.h"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

namespace moritane {
namespace {

using namespace GlobalShortcuts;

constexpr int kNames = 50;

void BM_DispatchOnePressAcross50Names(benchmark::State& state) {
    MemoryDefaults defaults;
    NotificationCenter center;
    ManualRunLoop loop;
    FakeHotKeyService service;
    const auto registry = Registry::create({defaults, center, loop, service});
    int ran = 0;
    for (int index = 0; index < kNames; ++index) {
        const auto name = registry->makeName("name" + std::to_string(index), Shortcut{index, 0x1900});
        registry->onKeyUp(name, [&ran] { ++ran; });
    }
    for (auto _ : state) {
        service.press(49, 0x1900, false);
    }
    benchmark::DoNotOptimize(ran);
}
BENCHMARK(BM_DispatchOnePressAcross50Names);

void BM_BareParseOf50StoredStrings(benchmark::State& state) {
    std::vector<std::string> stored;
    stored.reserve(kNames);
    for (int index = 0; index < kNames; ++index) {
        stored.push_back(encode(Shortcut{index, 0x1900}));
    }
    int matched = 0;
    for (auto _ : state) {
        for (const auto& text : stored) {
            const auto json = nlohmann::json::parse(text);
            matched += json["carbonKeyCode"].get<int>() == 49 ? 1 : 0;
        }
    }
    benchmark::DoNotOptimize(matched);
}
BENCHMARK(BM_BareParseOf50StoredStrings);

}  // namespace
}  // namespace moritane

BENCHMARK_MAIN();
