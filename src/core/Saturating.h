#pragma once

// A stored double as a float: values beyond the float range saturate
// (converting them as they are would be undefined); NaN stays NaN.
inline float saturatingFloat(double value) {
    constexpr double kMax = 3.4e38;
    return static_cast<float>(value > kMax ? kMax : value < -kMax ? -kMax : value);
}
