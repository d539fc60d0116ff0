#pragma once

#include <filesystem>

namespace moritane::testing {

/// A fresh directory for one test, removed with everything in it at the end.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    TemporaryDirectory(TemporaryDirectory&&) = delete;
    TemporaryDirectory& operator=(TemporaryDirectory&&) = delete;
    ~TemporaryDirectory();

    [[nodiscard]] const std::filesystem::path& path() const { return m_path; }
    [[nodiscard]] std::filesystem::path operator/(const std::filesystem::path& relative) const {
        return m_path / relative;
    }

private:
    std::filesystem::path m_path;
};

/// Writes `bytes` to `path` as they are.
void writeFile(const std::filesystem::path& path, std::string_view bytes);

/// The content of `path`; empty when it cannot be read.
std::string readFile(const std::filesystem::path& path);

}  // namespace moritane::testing
