// Plain text tables with aligned columns, for operators' eyes.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace qsfpctl {

class TextTable {
public:
    explicit TextTable(std::vector<std::string> headings);
    void add(std::vector<std::string> row);
    // Each column as wide as its widest cell, two spaces apart; no trailing blanks.
    void print(std::ostream &out) const;

private:
    std::vector<std::vector<std::string>> rows_;
};

// "%.2f" and friends without the C format dance.
std::string fixed(double value, int decimals);

}  // namespace qsfpctl
