#ifndef VORN_BASES_TESTS_SUPPORT_ROUTE_TEST_H
#define VORN_BASES_TESTS_SUPPORT_ROUTE_TEST_H

// Tests that run once for each fast route, limited to it; skipped where the machine lacks it.

#include <Bases/Impl/Route/Route.h>

#include <string>

#include <gtest/gtest.h>

namespace VornTest {

inline auto AllRoutes() {
    using Vorn::Route;
    return testing::Values(Route::Portable, Route::Neon, Route::Sse4, Route::Avx2, Route::Avx512,
                           Route::Avx512Gfni);
}

inline std::string RouteName(Vorn::Route route) {
    using Vorn::Route;
    switch (route) {
    case Route::Portable:
        return "Portable";
    case Route::Neon:
        return "Neon";
    case Route::Sse4:
        return "Sse4";
    case Route::Avx2:
        return "Avx2";
    case Route::Avx512:
        return "Avx512";
    case Route::Avx512Gfni:
        return "Avx512Gfni";
    }
    return "Unknown";
}

inline std::string RouteNameOf(const testing::TestParamInfo<Vorn::Route>& info) {
    return RouteName(info.param);
}

class RouteTest : public testing::TestWithParam<Vorn::Route> {
protected:
    void SetUp() override {
        Vorn::LimitRoute(GetParam());
        if (Vorn::CurrentRoute() != GetParam())
            GTEST_SKIP() << "this machine lacks the instructions of " << RouteName(GetParam());
    }
    void TearDown() override { Vorn::LimitRoute(Vorn::Route::Avx512Gfni); }
};

} // namespace VornTest

#endif
