// Angles: the library's one value of pi and the conversions between the radians of the
// files and the degrees of the public records. Every reader and writer converts through
// these, so a value read and written again takes the same path both ways.
#ifndef VELKO_RECORDS_ANGLES_H
#define VELKO_RECORDS_ANGLES_H

constexpr double kPi = 3.14159265358979323846;

inline double RadiansToDegrees(double radians) {
    return radians * 180.0 / kPi;
}
inline double DegreesToRadians(double degrees) {
    return degrees * kPi / 180.0;
}

#endif
