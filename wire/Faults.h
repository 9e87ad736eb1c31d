#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "Byte.h"

/** What can happen to a byte on a bad line. */
enum class Fault { Drop, Flip, Duplicate, Truncate, Delay, Noise, Stx, Etx, Ack, Nak };

inline constexpr size_t faultCount = 10;

/** "drop", "flip", ...; in the order of the enumeration. */
extern const char* const faultNames[faultCount];

/** A byte that arrives, and whether it and all behind it come late. */
struct CarriedByte {
    byte value;
    bool isLate;
};

/** What arrives in place of a byte that meets a fault; Truncate is up to the caller, who knows the block. */
std::vector<CarriedByte> ApplyFault(Fault fault, byte value);

/** Probability of each fault for each byte. */
using FaultRates = std::array<double, faultCount>;

/** Sets rates from "drop=0.01,flip=0.005"; CommandLineException for anything else. */
void ParseFaultRates(const std::string& text, FaultRates& rates);

/** Applies faults at random, the same for the same seed. */
class FaultyLine {
public:
    FaultyLine(const FaultRates& rates, unsigned seed);
    /** What arrives of a block. */
    std::vector<CarriedByte> Carry(const std::vector<byte>& block);

private:
    FaultRates m_rates;
    std::mt19937 m_random;
};
