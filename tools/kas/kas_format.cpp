#include "kas/kas_format.h"

#include "file/scramble.h"

#include <algorithm>
#include <cstdio>

namespace klmfc::kas {

namespace {

std::int64_t floorDiv(std::int64_t a, std::int64_t b) {
    std::int64_t q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0))) {
        --q;
    }
    return q;
}

// Days since 1970-01-01 of a date on the proleptic Gregorian calendar, and back.
std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    std::int64_t const era = floorDiv(y, 400);
    auto const yoe = static_cast<unsigned>(y - era * 400);
    unsigned const doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    unsigned const doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

void civilFromDays(std::int64_t z, std::int64_t& y, unsigned& m, unsigned& d) {
    z += 719468;
    std::int64_t const era = floorDiv(z, 146097);
    auto const doe = static_cast<unsigned>(z - era * 146097);
    unsigned const yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    unsigned const doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    unsigned const mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    y = static_cast<std::int64_t>(yoe) + era * 400 + (m <= 2);
}

int lowerAscii(unsigned char c) {
    return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c;
}

} // namespace

char const* methodName(std::int32_t method) {
    switch (method) {
    case MethodCompressed:
        return "compressed";
    case MethodScrambled:
        return "scrambled";
    case MethodStored:
        return "stored";
    default:
        return nullptr;
    }
}

SystemTime systemTimeFromUnix(std::int64_t seconds, unsigned milliseconds) {
    std::int64_t const first = daysFromCivil(1601, 1, 1) * 86400;
    std::int64_t const last = daysFromCivil(30827, 12, 31) * 86400 + 86399;
    if (seconds < first) {
        seconds = first;
        milliseconds = 0;
    } else if (seconds > last) {
        seconds = last;
        milliseconds = 999;
    }
    std::int64_t const days = floorDiv(seconds, 86400);
    std::int64_t const inDay = seconds - days * 86400;
    std::int64_t year;
    unsigned month;
    unsigned day;
    civilFromDays(days, year, month, day);
    SystemTime t;
    t.year = static_cast<std::uint16_t>(year);
    t.month = static_cast<std::uint16_t>(month);
    t.day = static_cast<std::uint16_t>(day);
    t.dayOfWeek = static_cast<std::uint16_t>(((days % 7) + 11) % 7); // 1970-01-01 a Thursday
    t.hour = static_cast<std::uint16_t>(inDay / 3600);
    t.minute = static_cast<std::uint16_t>(inDay / 60 % 60);
    t.second = static_cast<std::uint16_t>(inDay % 60);
    t.milliseconds = static_cast<std::uint16_t>(std::min(milliseconds, 999u));
    return t;
}

std::int64_t unixFromSystemTime(SystemTime const& t) {
    unsigned const month = std::clamp<unsigned>(t.month, 1, 12);
    unsigned const day = std::clamp<unsigned>(t.day, 1, 31);
    return daysFromCivil(t.year, month, day) * 86400 + t.hour * 3600 + t.minute * 60 + t.second;
}

std::string formatTime(SystemTime const& t) {
    char text[64];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u", t.year, t.month, t.day,
                  t.hour, t.minute, t.second);
    return text;
}

void putTime(unsigned char* p, SystemTime const& t) {
    std::uint16_t const fields[8] = {t.year, t.month,  t.dayOfWeek, t.day,
                                     t.hour, t.minute, t.second,    t.milliseconds};
    for (int i = 0; i < 8; ++i) {
        putLE16(p + 2 * i, fields[i]);
    }
}

SystemTime getTime(unsigned char const* p) {
    SystemTime t;
    t.year = getLE16(p);
    t.month = getLE16(p + 2);
    t.dayOfWeek = getLE16(p + 4);
    t.day = getLE16(p + 6);
    t.hour = getLE16(p + 8);
    t.minute = getLE16(p + 10);
    t.second = getLE16(p + 12);
    t.milliseconds = getLE16(p + 14);
    return t;
}

void scrambleRun(unsigned char* data, std::size_t size, std::int32_t seed) {
    scramble::scramble(data, data, size, seed == 0 ? 1 : seed);
}

void descrambleRun(unsigned char* data, std::size_t size, std::int32_t seed) {
    scramble::descramble(data, data, size, seed == 0 ? 1 : seed);
}

std::int32_t entrySeed(std::int32_t headerSeed, std::uint32_t index) {
    // A murmur-style finaliser over the two, so that neighbouring entries get unrelated
    // seeds.
    std::uint32_t x =
        static_cast<std::uint32_t>(headerSeed) * 0x9E3779B1u + (index + 1) * 0x85EBCA77u;
    x ^= x >> 16;
    x *= 0x7FEB352Du;
    x ^= x >> 15;
    x *= 0x846CA68Bu;
    x ^= x >> 16;
    return x == 0 ? 1 : static_cast<std::int32_t>(x);
}

std::string foldCase(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(lowerAscii(static_cast<unsigned char>(c)));
    }
    return text;
}

int compareNoCase(std::string const& a, std::string const& b) {
    std::size_t const n = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < n; ++i) {
        int const ca = lowerAscii(static_cast<unsigned char>(a[i]));
        int const cb = lowerAscii(static_cast<unsigned char>(b[i]));
        if (ca != cb) {
            return ca < cb ? -1 : 1;
        }
    }
    return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
}

} // namespace klmfc::kas
