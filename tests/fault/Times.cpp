// SPDX-License-Identifier: MIT
// The scripted calls to the platform for clocks and zones.

#include "fault/Platform.h"

extern "C" {
int __real_gettimeofday(timeval* now, void* zone);
int __real_clock_gettime(clockid_t clock, timespec* now);
std::tm* __real_gmtime_r(const std::time_t* seconds, std::tm* fields);
std::tm* __real_localtime_r(const std::time_t* seconds, std::tm* fields);
std::time_t __real_mktime(std::tm* fields);
}

namespace VornTest::Platform {

namespace {

// Judges the value like the real one, but leaves the machine's clock alone.
int LeaveTheClockAlone(const timeval* now, const void* /*zone*/) {
    if (now->tv_usec >= 0 && now->tv_usec < 1000000)
        return 0;
    errno = EINVAL;
    return -1;
}

} // namespace

constinit Function<int(timeval*, void*)> gettimeofday{"gettimeofday", __real_gettimeofday,
                                                      Errors<EFAULT>};
constinit Function<int(const timeval*, const void*)> settimeofday{
    "settimeofday", LeaveTheClockAlone, Errors<EINVAL, EPERM>};
constinit Function<int(clockid_t, timespec*)> clock_gettime{"clock_gettime", __real_clock_gettime,
                                                            Errors<EINVAL>};
constinit Function<std::tm*(const std::time_t*, std::tm*)> gmtime_r{"gmtime_r", __real_gmtime_r,
                                                                    Errors<EOVERFLOW>};
constinit Function<std::tm*(const std::time_t*, std::tm*)> localtime_r{
    "localtime_r", __real_localtime_r, Errors<EOVERFLOW>};
constinit Function<std::time_t(std::tm*)> mktime{"mktime", __real_mktime, Errors<EOVERFLOW>};

namespace {

const Family g_times{&gettimeofday, &settimeofday, &clock_gettime,
                     &gmtime_r,     &localtime_r,  &mktime};

} // namespace

extern "C" {

int __wrap_gettimeofday(timeval* now, void* zone) { return gettimeofday(now, zone); }

int __wrap_settimeofday(const timeval* now, const void* zone) { return settimeofday(now, zone); }

int __wrap_clock_gettime(clockid_t clock, timespec* now) { return clock_gettime(clock, now); }

std::tm* __wrap_gmtime_r(const std::time_t* seconds, std::tm* fields) {
    return gmtime_r(seconds, fields);
}

std::tm* __wrap_localtime_r(const std::time_t* seconds, std::tm* fields) {
    return localtime_r(seconds, fields);
}

std::time_t __wrap_mktime(std::tm* fields) { return mktime(fields); }
}

} // namespace VornTest::Platform
