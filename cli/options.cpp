#include "options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace cli {

bool Options::parse(int argc, char **argv, std::string *error)
{
    bool onlyPositional = false;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (onlyPositional || arg.size() < 2 || arg[0] != '-') {
            positional_.push_back(arg);
            continue;
        }
        if (arg == "--") {
            onlyPositional = true;
            continue;
        }
        if (arg == "-h")
            arg = "--help";
        std::string name = arg, value;
        const size_t eq = arg.find('=');
        const bool inlineValue = eq != std::string::npos;
        if (inlineValue) {
            name = arg.substr(0, eq);
            value = arg.substr(eq + 1);
        }
        if (flags_.count(name) && !inlineValue) {
            given_[name] = "";
        } else if (values_.count(name)) {
            if (!inlineValue) {
                if (i + 1 >= argc) {
                    *error = name + " needs a value";
                    return false;
                }
                value = argv[++i];
            }
            given_[name] = value;
        } else {
            *error = "unknown option " + arg;
            return false;
        }
    }
    return true;
}

std::string Options::get(const std::string &name) const
{
    auto it = given_.find(name);
    return it == given_.end() ? std::string() : it->second;
}

bool parseSeconds(const std::string &text, double *seconds)
{
    if (text.empty())
        return false;
    char *end = nullptr;
    errno = 0;
    const double v = std::strtod(text.c_str(), &end);
    if (errno != 0 || *end != '\0' || !std::isfinite(v) || v <= 0 || v > 1e7)
        return false;
    *seconds = v;
    return true;
}

}  // namespace cli
