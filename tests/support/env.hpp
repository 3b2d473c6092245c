// env.hpp - an environment variable for the time of a scope.
#ifndef TESTS_SUPPORT_ENV_HPP
#define TESTS_SUPPORT_ENV_HPP

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

// Sets a variable, or unsets it (nullptr), and restores what was there. Only while no other thread uses the
// environment.
class scoped_env {
public:
    scoped_env(std::string name, const char *value) : name_(std::move(name)) {
        if (const char *before = std::getenv(name_.c_str())) before_ = before;
        set(value);
    }
    scoped_env(std::string name, const std::string &value) : scoped_env(std::move(name), value.c_str()) {}
    ~scoped_env() { set(before_ ? before_->c_str() : nullptr); }
    scoped_env(const scoped_env &) = delete;
    scoped_env &operator=(const scoped_env &) = delete;

private:
    void set(const char *value) {
        if (value) {
            setenv(name_.c_str(), value, 1);
        } else {
            unsetenv(name_.c_str());
        }
    }

    std::string name_;
    std::optional<std::string> before_;
};

#endif
