#pragma once
// Names, subjects and the reading of what git prints: texts in, texts out. Private to this module.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace mbdispatch {

inline constexpr size_t kPatchBytes = 400000;

// Without blanks and line ends around it.
std::string firstLine(std::string_view text);

// At most four words and 32 characters of a title, for a branch; never empty.
std::string slug(std::string_view title);

// What the commit of a task's changes is called.
std::string commitSubject(std::string_view title);

struct FileCount {
    std::string path;
    double added = 0;  // lines; 0 for a binary file
    double removed = 0;
};

// From the output of "git diff --numstat".
std::vector<FileCount> readNumstat(std::string_view output);

// At most kPatchBytes of it and a remark; a UTF-8 character that lies on the cut goes too.
std::string limitPatch(std::string patch);

// Valid UTF-8, converted line by line: the files of one patch may differ in their encoding.
std::string readableLines(const std::string& text);

}  // namespace mbdispatch
