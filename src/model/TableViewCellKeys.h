#pragma once

#include <QLatin1StringView>

// The keys of a record's row values (valuesForTableViewCell), which the table
// cells draw.
namespace TableViewCellKeys {

inline constexpr QLatin1StringView TitleString{"titleString"};
inline constexpr QLatin1StringView SubtitleString{"subtitleString"};
inline constexpr QLatin1StringView IconImage{"iconImage"};

} // namespace TableViewCellKeys
