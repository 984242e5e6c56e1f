// Reading the demo signature file.
#include "signature.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace demo {

namespace {

[[noreturn]] void fail(int line, const std::string &what)
{
    throw std::runtime_error("line " + std::to_string(line) + ": " + what);
}

}  // namespace

std::vector<Stroke> parseSignature(std::istream &in)
{
    std::vector<Stroke> strokes;
    bool touching = false;
    int lastT = 0;
    bool any = false;
    std::string text;
    for (int line = 1; std::getline(in, text); ++line) {
        const size_t hash = text.find('#');
        if (hash != std::string::npos)
            text.erase(hash);
        std::istringstream fields(text);
        Sample s;
        if (!(fields >> std::ws) || fields.eof())
            continue;  // blank or comment
        std::string rest;
        if (!(fields >> s.tMs >> s.x >> s.y >> s.pressure) || (fields >> rest))
            fail(line, "expected four numbers: time x y pressure");
        if (any && s.tMs < lastT)
            fail(line, "time goes back");
        if (s.x < 0 || s.x > kPictureWidth || s.y < 0 || s.y > kPictureHeight)
            fail(line, "position outside the 400 x 250 picture");
        if (!(s.pressure >= 0 && s.pressure <= 1))
            fail(line, "pressure outside 0..1");
        any = true;
        lastT = s.tMs;
        if (s.pressure > 0) {
            if (!touching)
                strokes.emplace_back();
            touching = true;
            strokes.back().samples.push_back(s);
            strokes.back().liftMs = s.tMs;
        } else if (touching) {
            touching = false;
            strokes.back().liftMs = s.tMs;
        }
    }
    if (strokes.empty())
        throw std::runtime_error("no stroke in the signature file");
    return strokes;
}

std::vector<Stroke> loadSignature(const std::string &path)
{
    std::ifstream in(path);
    if (!in)
        throw std::runtime_error("cannot read " + path);
    try {
        return parseSignature(in);
    } catch (const std::runtime_error &e) {
        throw std::runtime_error(path + ": " + e.what());
    }
}

}  // namespace demo
