// SPDX-License-Identifier: MIT
#include <support/Route.h>

#include <vector>

#include <Bases/Impl/Route/Route.h>

namespace Bench {

namespace {

// The routes that the library really takes when it is told to go no higher.
std::vector<Vorn::Route> RoutesHere() {
    const Vorn::Route before = Vorn::CurrentRoute();
    std::vector<Vorn::Route> routes;
    for (const auto& [route, name] : Vorn::AllRoutes) {
        Vorn::LimitRoute(route);
        const bool isTaken = Vorn::CurrentRoute() == route;
        if (isTaken && (VORN_BENCH_CHOOSES_ROUTE || route == Vorn::BestRoute()))
            routes.push_back(route);
    }
    Vorn::LimitRoute(before);
    return routes;
}

} // namespace

std::string CurrentRouteName() { return Vorn::NameOf(Vorn::CurrentRoute()); }

std::string RouteNames() {
    std::string names;
    for (const Vorn::Route route : RoutesHere()) {
        if (!names.empty())
            names += ' ';
        names += Vorn::NameOf(route);
    }
    return names;
}

bool TakeRoute(const std::string& name) {
    for (const Vorn::Route route : RoutesHere()) {
        if (Vorn::NameOf(route) != name)
            continue;
        Vorn::LimitRoute(route);
        return true;
    }
    return false;
}

} // namespace Bench
