// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_ROUTE_TEST_H
#define VORN_BASES_TESTS_SUPPORT_ROUTE_TEST_H

// Tests that run once for each fast route, limited to it; skipped where the machine lacks it.

#include <Bases/Impl/Route/Route.h>

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Vorn {

inline void PrintTo(Route route, std::ostream* pStream) { *pStream << NameOf(route); }

} // namespace Vorn

namespace VornTest {

inline auto AllRoutes() {
    std::vector<Vorn::Route> routes;
    for (const Vorn::NamedRoute& named : Vorn::AllRoutes)
        routes.push_back(named.route);
    return testing::ValuesIn(routes);
}

inline std::string RouteNameOf(const testing::TestParamInfo<Vorn::Route>& info) {
    return Vorn::NameOf(info.param);
}

/// A test that is `Base` besides.
template <typename Base>
class RouteTestOf : public Base, public testing::WithParamInterface<Vorn::Route> {
protected:
    void SetUp() override {
        Vorn::LimitRoute(GetParam());
        if (Vorn::CurrentRoute() != GetParam())
            GTEST_SKIP() << "this machine lacks the instructions of " << Vorn::NameOf(GetParam());
    }
    void TearDown() override { Vorn::LimitRoute(Vorn::NoLimit); }
};

using RouteTest = RouteTestOf<testing::Test>;

/// The routes of the kind of processor that the build is for, but for the portable code.
inline std::vector<Vorn::Route> RoutesOfThisKind() {
#if defined(__x86_64__)
    return {Vorn::Route::Sse4, Vorn::Route::Avx2, Vorn::Route::Avx512, Vorn::Route::Avx512Gfni};
#elif defined(__aarch64__)
    return {Vorn::Route::Neon};
#else
    return {};
#endif
}

/// A route that no choice among kernels knows would fall back to the portable code, unnoticed by
/// tests of results: what x86 routes have, those above them have, too.
template <typename HasKernel>
void ExpectNoKernelIsLostOnAHigherRoute(HasKernel hasKernel) {
    bool had = false;
    for (const auto& [route, name] : Vorn::AllRoutes) {
        if (route == Vorn::Route::Neon)
            continue;
        const bool has = hasKernel(route);
        EXPECT_TRUE(has || !had) << "there is none for " << name << ", but for a lower route";
        had = had || has;
    }
}

} // namespace VornTest

#endif
