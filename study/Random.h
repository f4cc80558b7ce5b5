/*
 * Random.h - the numbers that made scans are made of: the same everywhere for the same seed.
 */
#ifndef QUARLO_STUDY_RANDOM_H
#define QUARLO_STUDY_RANDOM_H

#include <array>
#include <cstdint>

namespace study
{

/* SplitMix64: small, and the same numbers everywhere. */
class Random
{
public:
    explicit Random(std::uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15u + 0x1234567u) {}

    std::uint64_t Next()
    {
        state_ += 0x9E3779B97F4A7C15u;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }
    double Unit() { return static_cast<double>(Next() >> 11) * 0x1p-53; }
    double In(double low, double high) { return low + (high - low) * Unit(); }
    int Whole(int low, int high) { return low + static_cast<int>(Unit() * (high - low + 1)); }
    bool Chance(double share) { return Unit() < share; }
    /* Near enough to normal: twelve uniform numbers. */
    double Normal()
    {
        double sum = -6.0;
        for (int i = 0; i < 12; ++i) sum += Unit();
        return sum;
    }

private:
    std::uint64_t state_;
};

/* Cheap noise of deviation 1 for one pixel: a table walked at random. */
class Noise
{
public:
    explicit Noise(Random* random) : state_(random->Next() | 1)
    {
        for (double& value : table_) value = random->Normal();
    }
    double operator()()
    {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return table_[state_ >> 52];
    }

private:
    std::array<double, 4096> table_;
    std::uint64_t state_;
};

} // namespace study

#endif
