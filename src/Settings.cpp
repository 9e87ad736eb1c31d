#include "Settings.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>
#include <vector>

#include "Tools.h"

namespace {

/** Characters to insert, drop or replace to make one text of the other. */
size_t EditDistance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < a.size(); i++) {
        size_t diagonal = std::exchange(row[0], i + 1);
        for (size_t j = 0; j < b.size(); j++) {
            const size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = std::exchange(row[j + 1], std::min({replaced, row[j] + 1, row[j + 1] + 1}));
        }
    }
    return row.back();
}

}  // namespace

const Setting* FindSetting(const std::string& name) {
    const auto* const found = std::find_if(std::begin(settings::all), std::end(settings::all),
                                           [&](const Setting* setting) { return name == setting->name; });
    return found == std::end(settings::all) ? nullptr : *found;
}

std::string GetNearestSetting(const std::string& name) {
    const std::string wanted = ToUpper(name);
    constexpr size_t longestName = 64;  // no setting is so long, and the distance takes a square of time
    if (wanted.size() > longestName) return "";
    std::string nearest;
    size_t least = wanted.size() / 3 + 1;  // as far off it stands for nothing
    for (const Setting* setting : settings::all) {
        const size_t distance = EditDistance(wanted, ToUpper(setting->name));
        if (distance >= least) continue;
        least = distance;
        nearest = setting->name;
    }
    return nearest;
}

std::string GetDefault(const Setting& setting) {
    return setting.isNumber ? std::to_string(setting.range.byDefault) : setting.byDefault;
}
