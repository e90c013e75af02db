// SPDX-License-Identifier: MIT
// Which paths libxml2 would read from elsewhere than a file.

#include <Bases/Impl/XmlPath.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include <strings.h>

#include <libxml/catalog.h>
#include <libxml/uri.h>
#include <libxml/xmlIO.h>

#include <Bases/Impl/Lock.h>
#include <Bases/Impl/XmlOwners.h>
#include <Bases/Impl/XmlSilence.h>

namespace Vorn {

namespace {

// Never destroyed: static objects may load documents until the end of the program.
Lock& CatalogLock() {
    alignas(Lock) static std::byte place[sizeof(Lock)];
    static Lock& lock = *new (place) Lock; // GCOVR_EXCL_BR_LINE race
    return lock;
}

bool IsFound(xmlChar* (*resolve)(const xmlChar*), const char* path) {
    const XmlText found(resolve(reinterpret_cast<const xmlChar*>(path)));
    return found != nullptr;
}

// libxml2 looks up a name that is no file in the machine's XML catalogs, which may redirect it
// anywhere. The first to do so loads their files; whether they are loaded, libxml2 reads without a
// lock of its own, hence ours.
bool IsRedirected(const char* path) {
    if (xmlCheckFilename(path) != 0)
        return false;
    const Locker locker(CatalogLock());
    xmlInitializeCatalog();
    return IsFound(xmlCatalogResolveSystem, path) || IsFound(xmlCatalogResolveURI, path);
}

bool StartsWith(const char* text, std::string_view prefix) {
    return strncasecmp(text, prefix.data(), prefix.size()) == 0;
}

} // namespace

// libxml2 takes "-" for standard input, and also tries the path with %-escapes resolved, so "%2D"
// counts too.
bool IsReadElsewhere(const char* path) {
    if (StartsWith(path, "http://") || StartsWith(path, "ftp://"))
        return true;
    const XmlSilence silence;
    const std::unique_ptr<char, XmlDelete> unescaped(xmlURIUnescapeString(path, 0, nullptr));
    return std::strcmp(path, "-") == 0 || (unescaped && std::strcmp(unescaped.get(), "-") == 0) ||
           IsRedirected(path) || silence.HasLoss();
}

// Not once for all: BasesRelease frees the catalogs with the rest of libxml2.
void SetUpCatalogs() {
    const Locker locker(CatalogLock());
    xmlInitializeCatalog();
}

} // namespace Vorn
