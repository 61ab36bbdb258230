#pragma once
// A run-time error with the number and description the jobs write into their
// "Error in {routine} routine" log lines. Routines that must end their caller
// (the way an unhandled run-time error ends a routine) throw it; every job and
// event handler catches it at its own boundary, so it never reaches a window.
#include <stdexcept>
#include <string>

namespace morvane {

class RunTimeError : public std::runtime_error {
public:
    RunTimeError(int number, const std::string& description) : std::runtime_error(description), number_(number) {}

    int number() const noexcept { return number_; }
    std::string description() const { return what(); }

private:
    int number_;
};

// Raised when a routine is handed an argument it cannot work with, such as the
// first character of an empty text.
inline constexpr int kInvalidProcedureCall = 5;
inline constexpr const char* kInvalidProcedureCallText = "Invalid procedure call or argument";

}  // namespace morvane
