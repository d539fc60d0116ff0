#pragma once

#include "cameraextension/DirectoryWatcher.h"

#include <filesystem>
#include <optional>
#include <utility>

namespace moritane {

/// Watches nothing: keeps the directory and the handler, so that the test tells the changes.
struct FakeDirectoryWatcher final : DirectoryWatcher {
    std::optional<Error> watch(const std::filesystem::path& directory, Handler handler) override {
        watched = directory;
        tell = std::move(handler);
        return std::nullopt;
    }
    void cancel() override { tell = nullptr; }

    std::filesystem::path watched;
    Handler tell;
};

}  // namespace moritane
