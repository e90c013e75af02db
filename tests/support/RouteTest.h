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

class RouteTest : public testing::TestWithParam<Vorn::Route> {
protected:
    void SetUp() override {
        Vorn::LimitRoute(GetParam());
        if (Vorn::CurrentRoute() != GetParam())
            GTEST_SKIP() << "this machine lacks the instructions of " << Vorn::NameOf(GetParam());
    }
    void TearDown() override { Vorn::LimitRoute(Vorn::NoLimit); }
};

} // namespace VornTest

#endif
