#include "platform/linux/JsonFileDefaults.h"

#include <unistd.h>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace {

class DiscardingLog final : public moritane::Log {
public:
    void write(std::string_view /*line*/) override {}
    void unified(std::string_view /*subsystem*/, std::string_view /*category*/, moritane::LogLevel /*level*/,
                 std::string_view /*message*/) override {}
};

std::filesystem::path scratchDirectory() {
    static const auto directory = [] {
        auto path = std::filesystem::temp_directory_path() / ("moritane-defaults-fuzz-" + std::to_string(::getpid()));
        std::filesystem::create_directories(path);
        return path;
    }();
    return directory;
}

}  // namespace

// The defaults file is the user's to edit by hand; the store must load anything without harm.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto path = scratchDirectory() / "defaults.json";
    {
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    DiscardingLog log;
    const moritane::JsonFileDefaults defaults(path, log);
    if (const auto entries =
            moritane::JsonFileDefaults::decode(std::string_view(reinterpret_cast<const char*>(data), size))) {
        for (const auto& item : entries->items()) {
            (void)defaults.object(item.key());
            (void)defaults.string(item.key());
            (void)defaults.boolean(item.key());
        }
    }
    std::filesystem::remove_all(scratchDirectory());
    std::filesystem::create_directories(scratchDirectory());
    return 0;
}
