// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_EACH_ROUTE_H
#define VORN_BASES_TESTS_SUPPORT_EACH_ROUTE_H

// For what is tried on all fast routes in one go.

#include <Bases/Impl/Route/Route.h>

namespace VornTest {

/// Calls the action once for each route that the machine has, limited to it.
template <typename Action>
void OnEachRoute(Action action) {
    for (const auto& [route, name] : Vorn::AllRoutes) {
        Vorn::LimitRoute(route);
        if (Vorn::CurrentRoute() == route)
            action();
    }
    Vorn::LimitRoute(Vorn::NoLimit);
}

} // namespace VornTest

#endif
