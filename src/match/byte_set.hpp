#pragma once
// The bytes that one class of a regular expression stands for. Private to this module.

#include <bitset>
#include <cstddef>
#include <regex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace mbmatch {

using ByteSet = std::bitset<256>;

// Collects the parts of a class and says which bytes are in it. Names, equivalences and folding are
// those of std::regex_traits<char>, so that they are the ones of the pattern's own language.
class ByteClass {
public:
    explicit ByteClass(bool fold) : foldCase(fold) {}

    void add(char byte);
    // Compared as `char`, as in patterns.
    void addRange(char first, char last);
    // "alpha" and the like, also "d", "s" and "w".
    void addNamed(const std::string& name, bool complement);
    // "[=a=]": all that the collation takes for the same.
    void addEquivalents(const std::string& name);
    ByteSet bytes(bool complement) const;

    // The byte of "[.space.]"; the name is a known one.
    char collatingByte(const std::string& name) const;

private:
    using Traits = std::regex_traits<char>;
    Traits traits;
    bool foldCase;
    std::string singles;
    std::vector<std::pair<char, char>> ranges;
    Traits::char_class_type named{};
    std::vector<Traits::char_class_type> complements;
    std::vector<std::string> equivalents;

    char folded(char byte) const { return foldCase ? traits.translate_nocase(byte) : byte; }
    bool holds(char byte) const;
};

// The text of a class for PCRE2.
std::string classText(const ByteSet& set);
// One byte as PCRE2 reads it, in a class or outside of it.
std::string byteText(char byte);

}  // namespace mbmatch
