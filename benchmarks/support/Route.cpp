#include <support/Route.h>

#include <utility>
#include <vector>

#include <Bases/Impl/Route/Route.h>

namespace Bench {

namespace {

using Vorn::Route;

const std::pair<Route, const char*> Names[] = {
    {Route::Portable, "portable"}, {Route::Neon, "neon"},     {Route::Sse4, "sse4"},
    {Route::Avx2, "avx2"},         {Route::Avx512, "avx512"}, {Route::Avx512Gfni, "avx512gfni"},
};

std::string NameOf(Route wanted) {
    for (const auto& [route, name] : Names) {
        if (route == wanted)
            return name;
    }
    return "unknown";
}

// The routes that the library really takes when it is told to go no higher.
std::vector<Route> RoutesHere() {
    const Route before = Vorn::CurrentRoute();
    std::vector<Route> routes;
    for (const auto& [route, name] : Names) {
        Vorn::LimitRoute(route);
        const bool isTaken = Vorn::CurrentRoute() == route;
        if (isTaken && (VORN_BENCH_CHOOSES_ROUTE || route == Vorn::BestRoute()))
            routes.push_back(route);
    }
    Vorn::LimitRoute(before);
    return routes;
}

} // namespace

std::string CurrentRouteName() { return NameOf(Vorn::CurrentRoute()); }

std::string RouteNames() {
    std::string names;
    for (const Route route : RoutesHere())
        names += (names.empty() ? "" : " ") + NameOf(route);
    return names;
}

bool TakeRoute(const std::string& name) {
    for (const Route route : RoutesHere()) {
        if (NameOf(route) != name)
            continue;
        Vorn::LimitRoute(route);
        return true;
    }
    return false;
}

} // namespace Bench
