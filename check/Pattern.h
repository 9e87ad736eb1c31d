#pragma once

#include <memory>
#include <string>

/** A regular expression; the library's own is compiled in one source only, as that takes its time. */
class Pattern {
public:
    explicit Pattern(const std::string& text);
    /** Whether it stands for the whole text. */
    bool Matches(const std::string& text) const;

private:
    struct Compiled;
    std::shared_ptr<const Compiled> m_compiled;
};
