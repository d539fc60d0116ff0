#pragma once

#include <string>
#include <utility>
#include <variant>

namespace moritane {

/// A failure at a port boundary, as the product reports it: where it came from, a code, and a
/// sentence fit for a log line.
struct Error {
    std::string domain;
    int code = 0;
    std::string description;

    friend bool operator==(const Error&, const Error&) = default;
};

/// Either a value or the Error that prevented it. Operations of the product return nothing;
/// results flow only out of ports and decoders.
template <typename T>
class Result {
public:
    // Implicit on purpose: `return value;` and `return Error{...};` both read naturally.
    Result(T value) : m_data(std::move(value)) {}      // NOLINT(google-explicit-constructor)
    Result(Error error) : m_data(std::move(error)) {}  // NOLINT(google-explicit-constructor)

    [[nodiscard]] bool ok() const { return std::holds_alternative<T>(m_data); }
    explicit operator bool() const { return ok(); }

    [[nodiscard]] const T& value() const& { return std::get<T>(m_data); }
    [[nodiscard]] T&& value() && { return std::get<T>(std::move(m_data)); }
    [[nodiscard]] const Error& error() const { return std::get<Error>(m_data); }

private:
    std::variant<T, Error> m_data;
};

}  // namespace moritane
