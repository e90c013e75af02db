#ifndef VORN_BASES_EXAMPLES_MANIFEST_SEGMENT_H
#define VORN_BASES_EXAMPLES_MANIFEST_SEGMENT_H

#include <cstddef>
#include <string>

#include <sys/types.h>

#include <Bases/Thread.h>

namespace Manifest {

/// A segment of shared memory as long as it is mapped; of one page, and of this user.
///
/// The library's Shm asks for some care, which is taken here:
/// - Closing or destroying one whose Create or Open failed ends the process, and so does removing a
///   segment that is gone or another user's. So the Shm objects live on to the end of the process,
///   reachable but never destroyed (a few at most: one or two for each call of Create and Open),
///   and a segment is removed only on demand, and only while it is mapped, when that cannot fail.
/// - Open reports success also when it failed, which shows when it is mapped.
/// - Who made a segment gets no memory to write to. For that it is opened once more, which asks for
///   execute permission, and nobody has it: only processes for which permissions do not count
///   (CAP_IPC_OWNER, as the superuser has it) can make one of these segments.
/// - The first segment that a machine or container ever has gets an identifier that Shm takes for
///   none, and it could not be removed. One that nobody needs gets it instead.
///
/// Whose a segment is, how long and who made it, the platform is asked by its own calls, as the
/// class does not tell. What lies in a segment proves nothing: anybody can have written it.
class Segment {
public:
    static constexpr std::size_t Size = 4096;

    enum class Access { Read, Write };
    enum class Creation { Done, NotMade, NotWritable };

    Segment() = default;
    ~Segment(); // unmaps
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;

    /// Makes a segment that is all zero and maps it for writing. Returns NotMade when there is one
    /// of the name already, or none can be made, and NotWritable when this process may not write to
    /// any; nothing is left behind then. Not for an object that has something mapped.
    Creation Create(const std::string& name);

    /// Maps the segment of the name. Returns false when it is not there or may not be mapped, and
    /// when another user made it or it has another size. Not for an object that has something
    /// mapped.
    bool Open(const std::string& name, Access access);

    /// Takes the mapped segment's name away for everybody; it goes with its last mapping.
    void Remove();

    /// Returns where the segment is mapped; null when it is not.
    void* Data() const { return m_data; }

    /// Returns the process that made the mapped segment; 0 when that is one of another container.
    pid_t Maker() const { return m_maker; }

    /// Returns true as long as that process, or another with its number, exists, and when it cannot
    /// be told.
    bool MakerLives() const;

private:
    Vorn::Shm* m_shm = nullptr; // what the segment is mapped and removed by
    unsigned char* m_data = nullptr;
    pid_t m_maker = 0;
};

} // namespace Manifest

#endif
