#ifndef VORN_BASES_IMPL_XML_PATH_H
#define VORN_BASES_IMPL_XML_PATH_H

// What libxml2 makes of a path.

namespace Vorn {

/// Returns true when libxml2 would not take `path` for a file, but read standard input, the network
/// or what an XML catalog of the machine puts in its place; and when there is no memory to tell.
bool IsForeignToFiles(const char* path);

} // namespace Vorn

#endif
