#pragma once

#include <exception>
#include <string>

/// The failure that any platform operation may report by throwing.
///
/// The backend catches it, logs `formatError()` and turns it into an error code of its own; what the front end
/// lets the host see is always a code and a text, never an exception.
class KrException : public std::exception {
public:
    /// @param text what failed, complete and ready for the log: the path, the step and the system's reason.
    explicit KrException(std::string text);

    /// The text given at construction.
    virtual std::string formatError() const;

    /// The same text, for code that knows the standard base class only.
    const char* what() const noexcept override;

private:
    std::string _text;
};
