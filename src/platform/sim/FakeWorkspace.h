#pragma once

#include "sources/Workspace.h"

#include <set>
#include <string>
#include <vector>

namespace moritane {

/// Opens nothing: records each address asked for and answers whether it "opened".
class FakeWorkspace final : public Workspace {
public:
    bool openURL(std::string_view url) override {
        opened.emplace_back(url);
        return !refused.contains(std::string(url));
    }

    std::vector<std::string> opened;
    /// Addresses this system cannot open.
    std::set<std::string> refused;
};

}  // namespace moritane
