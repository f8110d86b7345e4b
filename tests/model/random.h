// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <initializer_list>
#include <random>

/// Random draws that depend only on the seed, on every platform. Those of the standard library's
/// distributions may differ between implementations.
class Random
{
public:
    explicit Random(std::uint64_t seed) : engine(seed) {}

    /// One of 0 to @p count - 1.
    [[nodiscard]] int below(int count)
    {
        return static_cast<int>(engine() % static_cast<std::uint64_t>(count));
    }

    /// True with a probability of @p percent in a hundred.
    [[nodiscard]] bool inPercent(int percent) { return below(100) < percent; }

    template <typename List>
    [[nodiscard]] const typename List::value_type &oneOf(const List &list)
    {
        return *(std::begin(list) + below(static_cast<int>(std::size(list))));
    }

    /// An index into @p weights; each is drawn in proportion to its weight.
    [[nodiscard]] int weighted(std::initializer_list<int> weights)
    {
        int total = 0;
        for (const int weight : weights) {
            total += weight;
        }
        int rest = below(total);
        int number = 0;
        for (const int weight : weights) {
            if (rest < weight) {
                break;
            }
            rest -= weight;
            ++number;
        }
        return number;
    }

private:
    std::mt19937_64 engine;
};
