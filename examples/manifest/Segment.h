// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_SEGMENT_H
#define VORN_BASES_EXAMPLES_MANIFEST_SEGMENT_H

#include <cstddef>
#include <string>

#include <sys/types.h>

#include <Bases/Thread.h>

namespace Manifest {

/// A mapped segment of shared memory, one page long and made by this user.
///
/// The library's Shm needs some care, which is taken here:
/// - Closing or destroying one whose Create or Open failed ends the process, and so does removing a
///   segment that is gone or another user's. So Shm objects are never destroyed (one or two for
///   each call of Create and Open stay reachable to the end), and a segment is removed only while
///   it is mapped, when that cannot fail.
/// - Open returns true even when it failed; mapping it then fails.
/// - The maker's own mapping is read-only. To write, the segment is opened once more, which asks
///   for execute permission, and nobody has that: only processes that override permissions
///   (CAP_IPC_OWNER, as the superuser has it) can make one of these segments.
/// - The first segment of a machine or container gets an identifier that Shm takes for none, so it
///   could not be removed. A dummy gets it instead.
///
/// Owner, size and maker are asked of the platform, as Shm does not provide them. What lies in a
/// segment proves nothing: anybody can have written it.
class Segment {
public:
    static constexpr std::size_t Size = 4096;

    enum class Access { Read, Write };
    enum class Creation { Done, NotMade, NotWritable };

    Segment() = default;
    ~Segment(); // unmaps
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;

    /// Makes a segment of zeros and maps it for writing. Returns NotMade when the name is taken or
    /// no segment can be made, and NotWritable when this process may not write to it; nothing is
    /// left behind then. The object must have nothing mapped.
    Creation Create(const std::string& name);

    /// Maps the segment with the name. Returns false when there is none, when it may not be mapped,
    /// when another user made it, or when it has another size. The object must have nothing mapped.
    bool Open(const std::string& name, Access access);

    /// Removes the mapped segment: its name at once, its memory with the last mapping.
    void Remove();

    /// Returns where the segment is mapped; null when it is not.
    void* Data() const { return m_data; }

    /// Returns the process that made the mapped segment; 0 when it is in another container.
    pid_t Maker() const { return m_maker; }

    /// Returns true while that process, or another with its number, exists, and when that is
    /// unknown.
    bool MakerLives() const;

private:
    Vorn::Shm* m_shm = nullptr; // maps and removes the segment
    unsigned char* m_data = nullptr;
    pid_t m_maker = 0;
};

} // namespace Manifest

#endif
