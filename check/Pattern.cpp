#include "Pattern.h"

#include <regex>

struct Pattern::Compiled {
    std::regex regex;
};

Pattern::Pattern(const std::string& text)
    : m_compiled(std::make_shared<const Compiled>(Compiled{std::regex(text)})) {}

bool Pattern::Matches(const std::string& text) const { return std::regex_match(text, m_compiled->regex); }
