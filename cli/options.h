// The command line of one command: flags, options with a value (`--model M`
// or `--model=M`) and positional arguments, with a clear error for anything
// else.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace cli {

class Options {
public:
    void flag(const std::string &name) { flags_.insert(name); }
    void value(const std::string &name) { values_.insert(name); }

    // argv[0] is the command name. False with *error set on an unknown
    // option or a missing value.
    bool parse(int argc, char **argv, std::string *error);

    bool has(const std::string &name) const { return given_.count(name) != 0; }
    std::string get(const std::string &name) const;
    const std::vector<std::string> &positional() const { return positional_; }

private:
    std::set<std::string> flags_, values_;
    std::map<std::string, std::string> given_;
    std::vector<std::string> positional_;
};

// A positive number of seconds ("10", "0.5"); false for anything else.
bool parseSeconds(const std::string &text, double *seconds);

}  // namespace cli
