#pragma once

// Runs a stretch of a test in another process locale, for the C library and for ICU alike, as
// a program started with LC_ALL set to it would run; the environment's own comes back after.

#include <unicode/uloc.h>

#include <clocale>
#include <cstdlib>
#include <optional>
#include <string>

namespace qv::test {

class ProcessLocale {
public:
    explicit ProcessLocale(const char* name) {
        if (const char* v = std::getenv("LC_ALL")) saved_ = v;
        setenv("LC_ALL", name, 1);
        std::setlocale(LC_ALL, name);
        UErrorCode status = U_ZERO_ERROR;
        uloc_setDefault(nullptr, &status);  // ICU reads its default from the process again
    }
    ~ProcessLocale() {
        if (saved_) setenv("LC_ALL", saved_->c_str(), 1);
        else unsetenv("LC_ALL");
        std::setlocale(LC_ALL, "");
        UErrorCode status = U_ZERO_ERROR;
        uloc_setDefault(nullptr, &status);
    }
    ProcessLocale(const ProcessLocale&) = delete;
    ProcessLocale& operator=(const ProcessLocale&) = delete;

private:
    std::optional<std::string> saved_;
};

}  // namespace qv::test
