// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_XML_PATH_H
#define VORN_BASES_IMPL_XML_PATH_H

// How libxml2 reads a path.

namespace Vorn {

/// Returns true when libxml2 would not read `path` as a file but from standard input, the network
/// or wherever an XML catalog of the machine redirects it; also when memory runs out.
bool IsReadElsewhere(const char* path);

/// Sets libxml2's catalogs up, unless they are. To be called before anything that may look into
/// them: libxml2 would do it then, and when two threads meet there, both may wait for ever.
void SetUpCatalogs();

} // namespace Vorn

#endif
