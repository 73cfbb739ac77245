// A value or the reason it could not be produced, for settings operations that can fail.
#pragma once

#include <cassert>
#include <optional>
#include <string>
#include <utility>

namespace qm::settings {

/// The reason an operation failed: a sentence naming the file and the
/// problem ("/home/u/Profiles.ini: cannot write, the folder is read-only").
struct Failure
{
    explicit Failure(std::string text) : message(std::move(text)) {}
    std::string message;
};

/// Either a value or a Failure. Kept small on purpose: the fuzzing toolchain
/// cannot compile the standard library's own expected type.
template <class T> class [[nodiscard]] Result
{
public:
    Result(T value) : m_value(std::move(value)) {}
    Result(Failure failure) : m_error(std::move(failure.message)) {}

    explicit operator bool() const { return m_value.has_value(); }
    bool hasValue() const { return m_value.has_value(); }

    T& operator*()
    {
        assert(m_value);
        return *m_value;
    }
    const T& operator*() const
    {
        assert(m_value);
        return *m_value;
    }
    T* operator->()
    {
        assert(m_value);
        return &*m_value;
    }
    const T* operator->() const
    {
        assert(m_value);
        return &*m_value;
    }

    /// Why the operation failed; empty on success.
    const std::string& error() const { return m_error; }

private:
    std::optional<T> m_value;
    std::string m_error;
};

/// Success, or the reason for a failure.
template <> class [[nodiscard]] Result<void>
{
public:
    Result() = default;
    Result(Failure failure) : m_failed(true), m_error(std::move(failure.message)) {}

    explicit operator bool() const { return !m_failed; }
    bool hasValue() const { return !m_failed; }
    const std::string& error() const { return m_error; }

private:
    bool m_failed = false;
    std::string m_error;
};

} // namespace qm::settings
