#pragma once

#include "support/Log.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace moritane::bench {

/// Log lines cost nothing here: the benchmarks measure the work, not the logging.
class DiscardingLog final : public Log {
public:
    void write(std::string_view /*line*/) override {}
    void unified(std::string_view /*subsystem*/, std::string_view /*category*/, LogLevel /*level*/,
                 std::string_view /*message*/) override {}
};

/// A directory of its own for one benchmark, removed at its end.
class Scratch {
public:
    Scratch() {
        std::array<char, 64> pattern{};
        std::snprintf(pattern.data(), pattern.size(), "%s", "/tmp/moritane-bench-XXXXXX");
        path = ::mkdtemp(pattern.data());
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    Scratch(Scratch&&) = delete;
    Scratch& operator=(Scratch&&) = delete;
    ~Scratch() { std::filesystem::remove_all(path); }

    std::filesystem::path path;
};

}  // namespace moritane::bench
