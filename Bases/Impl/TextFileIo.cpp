// TextFileIo, which is reserved and empty.

#include <Bases/File.h>

namespace Vorn {

TextFileIo::TextFileIo() = default;

TextFileIo::~TextFileIo() = default;

} // namespace Vorn
