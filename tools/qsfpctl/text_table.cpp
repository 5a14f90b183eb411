#include "text_table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace qsfpctl {

TextTable::TextTable(std::vector<std::string> headings) { rows_.push_back(std::move(headings)); }

void TextTable::add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }

void TextTable::print(std::ostream &out) const {
    std::vector<std::size_t> widths;
    for (const auto &row : rows_) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t c = 0; c < row.size(); ++c) {
            widths[c] = std::max(widths[c], row[c].size());
        }
    }
    for (const auto &row : rows_) {
        std::string line;
        for (std::size_t c = 0; c < row.size(); ++c) {
            line += row[c];
            if (c + 1 < row.size()) {
                line += std::string(widths[c] - row[c].size() + 2, ' ');
            }
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}

std::string fixed(double value, int decimals) {
    if (!std::isfinite(value)) {
        return "-";
    }
    char text[48];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

}  // namespace qsfpctl
