#pragma once

#include <algorithm>

// The row of the first record that matches, or -1.
template<typename Records, typename Matches>
int firstRowWhere(const Records &records, Matches matches)
{
    const auto found = std::find_if(records.cbegin(), records.cend(), matches);
    return found == records.cend() ? -1 : int(found - records.cbegin());
}
