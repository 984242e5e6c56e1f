#include "script.h"

#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include <sstream>

namespace standin {
namespace {

std::vector<std::string> split(const std::string &text, char sep)
{
    std::vector<std::string> parts;
    std::stringstream in(text);
    for (std::string part; std::getline(in, part, sep);)
        if (!part.empty())
            parts.push_back(part);
    return parts;
}

bool toInt(const std::string &text, int &value)
{
    char *end = nullptr;
    const long v = strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0')
        return false;
    value = int(v);
    return true;
}

} // namespace

int Script::qualityOf(int index) const
{
    if (quality.empty())
        return 0;
    return quality[size_t(index) < quality.size() ? size_t(index) : quality.size() - 1];
}

Script parseScript(const std::string &text)
{
    Script s;
    for (const std::string &item : split(text, ';')) {
        const size_t eq = item.find('=');
        const std::string key = item.substr(0, eq);
        const std::string value = eq == std::string::npos ? "" : item.substr(eq + 1);
        int n = 0;
        if (key == "quality") {
            std::vector<int> scores;
            for (const std::string &q : split(value, ','))
                if (q == "x")
                    scores.push_back(-1);
                else if (toInt(q, n) && n >= 0 && n <= 255)
                    scores.push_back(n);
            if (!scores.empty())
                s.quality = scores;
        } else if (key == "fail") {
            for (const std::string &name : split(value, ','))
                s.fail.insert(name);
        } else if (key == "channels" && toInt(value, n)) {
            s.channels = n;
        } else if (key == "size") {
            const size_t x = value.find('x');
            int w = 0, h = 0;
            if (x != std::string::npos && toInt(value.substr(0, x), w) && toInt(value.substr(x + 1), h) && w > 0 &&
                h > 0) {
                s.width = w;
                s.height = h;
            }
        } else if (key == "delay" && toInt(value, n) && n >= 0) {
            s.delayMs = n;
        } else if (key == "journal") {
            s.journal = value;
        }
    }
    return s;
}

Script scriptFromEnvironment()
{
    const char *text = getenv("SP_SCANNER");
    return parseScript(text != nullptr ? text : "");
}

void journal(const Script &script, const std::string &line)
{
    if (script.journal.empty())
        return;
    if (FILE *f = fopen(script.journal.c_str(), "a")) {
        fprintf(f, "%s\n", line.c_str());
        fclose(f);
    }
}

void frameDelay(const Script &script)
{
    if (script.delayMs <= 0)
        return;
    struct timespec t = {script.delayMs / 1000, (script.delayMs % 1000) * 1000000L};
    while (nanosleep(&t, &t) != 0) {
    }
}

} // namespace standin
