#pragma once

#include <QList>

#include <algorithm>

// The sample at the given fraction of the sorted samples; 0.5 is the median.
template <typename T>
T percentile(QList<T> samples, double fraction)
{
    std::sort(samples.begin(), samples.end());
    return samples.at(qsizetype(double(samples.size()) * fraction));
}

template <typename T>
T median(QList<T> samples)
{
    return percentile(std::move(samples), 0.5);
}

// Timer readings are taken in nanoseconds and reported in milliseconds.
inline double medianInMilliseconds(const QList<qint64> &nanoseconds)
{
    return median(nanoseconds) / 1e6;
}
