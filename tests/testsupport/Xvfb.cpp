#include "testsupport/Xvfb.h"

#include <stdexcept>

extern char** environ;

namespace moritane::testing {

namespace {

std::vector<std::string> currentEnvironment() {
    std::vector<std::string> variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        variables.emplace_back(*entry);
    }
    return variables;
}

}  // namespace

// The server writes its display number to descriptor 3 once it listens.
XvfbServer::XvfbServer()
    : m_server({"Xvfb", "-displayfd", "3", "-nolisten", "tcp", "-screen", "0", "1024x768x24"}, currentEnvironment(),
               3) {
    if (!m_server.waitFor("\n")) {
        throw std::runtime_error("Xvfb did not start");
    }
    m_display = ":" + m_server.output().substr(0, m_server.output().find('\n'));
}

}  // namespace moritane::testing
