#pragma once

#include <string_view>

namespace moritane {

/// Opens addresses in the programs the user has for them.
class Workspace {
public:
    virtual ~Workspace() = default;
    /// Opens `url`; false when it is no address this system can open. Main thread.
    virtual bool openURL(std::string_view url) = 0;
};

}  // namespace moritane
