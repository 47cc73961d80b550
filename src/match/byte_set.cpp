#include "match/byte_set.hpp"

#include <algorithm>
#include <cstdint>
#include <locale>

namespace mbmatch {

namespace {

char toChar(size_t value) { return static_cast<char>(static_cast<unsigned char>(value)); }

// "\x41-\x5a" for each run of the set.
std::string runsText(const ByteSet& set) {
    std::string text;
    for (size_t first = 0; first < set.size(); ++first) {
        if (!set[first]) continue;
        size_t last = first;
        while (last + 1 < set.size() && set[last + 1]) ++last;
        text += byteText(toChar(first));
        if (last > first) text.append("-").append(byteText(toChar(last)));
        first = last;
    }
    return text;
}

}  // namespace

void ByteClass::add(char byte) { singles += folded(byte); }

void ByteClass::addRange(char first, char last) { ranges.emplace_back(first, last); }

void ByteClass::addNamed(const std::string& name, bool complement) {
    const auto mask = traits.lookup_classname(name.begin(), name.end(), foldCase);
    if (complement)
        complements.push_back(mask);
    else
        named |= mask;
}

void ByteClass::addEquivalents(const std::string& name) {
    const std::string element = traits.lookup_collatename(name.begin(), name.end());
    equivalents.push_back(traits.transform_primary(element.begin(), element.end()));
}

char ByteClass::collatingByte(const std::string& name) const {
    const std::string element = traits.lookup_collatename(name.begin(), name.end());
    return element.empty() ? '\0' : element[0];
}

bool ByteClass::holds(char byte) const {
    if (singles.find(folded(byte)) != std::string::npos) return true;
    const auto& letters = std::use_facet<std::ctype<char>>(traits.getloc());
    for (const auto& range : ranges) {
        const auto inside = [&](char c) { return range.first <= c && c <= range.second; };
        if (foldCase ? inside(letters.tolower(byte)) || inside(letters.toupper(byte))
                     : inside(byte))
            return true;
    }
    if (traits.isctype(byte, named)) return true;
    if (!equivalents.empty()) {
        const std::string key = traits.transform_primary(&byte, &byte + 1);
        if (std::find(equivalents.begin(), equivalents.end(), key) != equivalents.end())
            return true;
    }
    return std::any_of(complements.begin(), complements.end(),
                       [&](const auto& mask) { return !traits.isctype(byte, mask); });
}

ByteSet ByteClass::bytes(bool complement) const {
    ByteSet set;
    for (size_t i = 0; i < set.size(); ++i) set[i] = holds(toChar(i)) != complement;
    return set;
}

std::string byteText(char byte) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const auto value = static_cast<uint8_t>(byte);
    return {'\\', 'x', kDigits[value >> 4], kDigits[value & 15]};
}

std::string classText(const ByteSet& set) {
    if (set.all()) return "(?s:.)";
    if (set.none()) return "[^\\x00-\\xff]";
    const std::string inside = runsText(set);
    const std::string outside = runsText(~set);
    if (inside.size() <= outside.size()) return "[" + inside + "]";
    return "[^" + outside + "]";
}

}  // namespace mbmatch
