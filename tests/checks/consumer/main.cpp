#include <Bases/Bases.h>
#include <Bases/File.h>
#include <cstdio>
int main(int argc, char** argv) {
    using namespace Vorn;
    BasesInit();
    FileIo file;
    if (argc == 2 &&
        file.Open(argv[1], FileAccess::Read, FileShare::Read, FileDisposition::OpenExisting))
        std::printf("%lld bytes\n", file.GetFileSize());
    BasesRelease();
}
