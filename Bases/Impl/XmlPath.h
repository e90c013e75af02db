#ifndef VORN_BASES_IMPL_XML_PATH_H
#define VORN_BASES_IMPL_XML_PATH_H

// How libxml2 reads a path.

namespace Vorn {

/// Returns true when libxml2 would not read `path` as a file but from standard input, the network
/// or wherever an XML catalog of the machine redirects it; also when memory runs out.
bool IsReadElsewhere(const char* path);

} // namespace Vorn

#endif
