// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_FILE_H
#define VORN_BASES_FILE_H

// Binary files opened by access mask, share mode and creation disposition over POSIX descriptors;
// directory iteration; operations on files and directories by path.
//
// Nothing here throws except std::bad_alloc. A failure is a false or a 0 (Seek on a closed
// handle: -1). FileIo::Open also reports the cause of a failure, and FileIo::Seek an unknown
// origin, in one line on standard output that ends in a carriage return and a newline. The line is
// written with puts, is not flushed, and leaves errno alone.
//
// Paths go to the platform unchanged, in its own encoding.

#include <memory>
#include <string>

#include <Bases/Export.h>
#include <Bases/Time.h>

namespace Vorn {

/// Access masks of FileIo::Open.
namespace FileAccess {
inline constexpr unsigned int Read = 0x80000000;
inline constexpr unsigned int Write = 0x40000000;
inline constexpr unsigned int ReadWrite = Read | Write;
} // namespace FileAccess

/// Share modes of FileIo::Open. Sharing is not enforced; see there for the little that they do.
namespace FileShare {
inline constexpr unsigned int None = 0;
inline constexpr unsigned int Read = 1;
inline constexpr unsigned int Write = 2;
inline constexpr unsigned int ReadWrite = Read | Write;
} // namespace FileShare

/// Creation dispositions of FileIo::Open, named after what they do. Note: 3, which opens an
/// existing file on other systems, empties it here, as CreateOrEmpty does, and has no name.
namespace FileDisposition {
inline constexpr unsigned int CreateNew = 1;        ///< creates the file; it must not exist
inline constexpr unsigned int CreateOrEmpty = 2;    ///< creates the file, or empties it
inline constexpr unsigned int OpenExisting = 4;     ///< opens the file; it must exist
inline constexpr unsigned int CreateNewToWrite = 5; ///< CreateNew; the access must include Write
} // namespace FileDisposition

/// Origins of FileIo::Seek.
namespace SeekOrigin {
inline constexpr unsigned int Begin = 0;
inline constexpr unsigned int Current = 1;
inline constexpr unsigned int End = 2;
} // namespace SeekOrigin

/// An unbuffered binary file. An interrupted system call is not retried, and a partial transfer is
/// not continued. The object owns its descriptor; one thread uses it at a time.
///
///     |                | closed       | open                                           |
///     | -------------- | ------------ | ---------------------------------------------- |
///     | Open           | opens        | closes, then opens                             |
///     | Close          | does nothing | closes                                         |
///     | Read, Write    | 0            | bytes transferred; 0 on failure                |
///     | Seek           | -1           | new position; 0 on failure                     |
///     | Tell           | 0            | position; 0 on failure                         |
///     | SeekTo...,     | 0            | new position; 0 on failure                     |
///     | SeekFrom...    |              |                                                |
///     | SetEndOfFile,  | false        | moves to the end; the length does not change   |
///     | SetFileSize    |              |                                                |
///     | GetFileSize    | 0            | length; 0 on failure; moves to the end         |
///     | Flush          | false        | true on success                                |
///     | GetPath        | empty        | empty                                          |
///
/// A failed position query cannot be distinguished from position 0.
///
///     Vorn::FileIo file;
///     if (file.Open("notes.bin", Vorn::FileAccess::ReadWrite, Vorn::FileShare::None,
///                   Vorn::FileDisposition::CreateOrEmpty)) {
///         char text[] = "hello";
///         file.Write(text, 5);
///         file.SeekToBegin();
///         unsigned int length = file.Read(text, 5); // 5
///     }
class VORN_BASES_API FileIo {
public:
    /// The descriptor of a closed handle.
    static constexpr int InvalidFileIoHandle = -1;

    /// Constructs a closed handle.
    FileIo();

    /// Closes the handle.
    virtual ~FileIo();
    FileIo(const FileIo&) = delete;
    FileIo& operator=(const FileIo&) = delete;

    /// Closes the handle if it is open, then opens the file at `path`. Returns true on success;
    /// otherwise false, after one line on standard output, with the handle closed.
    ///
    /// `nDesiredAccess` is one of FileAccess; other bits are ignored. `nShareMode` is one of
    /// FileShare. `nCreationDisposition` is one of FileDisposition, or another sum of its bits 1, 2
    /// and 4; bits above these are ignored:
    ///
    ///     | disposition         | first attempt                    | second, if the first fails |
    ///     | ------------------- | -------------------------------- | -------------------------- |
    ///     | 1, CreateNew        | creates the file; it must not    | the same                   |
    ///     |                     | exist                            |                            |
    ///     | 2, CreateOrEmpty    | creates the file, or empties it  | the same, but the file     |
    ///     | 3                   |                                  | must not exist, unless     |
    ///     |                     |                                  | FileShare::ReadWrite       |
    ///     | 4, OpenExisting     | opens the file; it must exist    | none                       |
    ///     | 5, CreateNewToWrite | as 1; the access must include    | none                       |
    ///     |                     | writing                          |                            |
    ///     | 6                   | as 2                             | none                       |
    ///     | 7                   | as 2; the access must include    | none                       |
    ///     |                     | writing                          |                            |
    ///
    /// Asking for 5 or 7 without FileAccess::Write is a programming error and fails an assertion;
    /// where assertions are compiled out, the attempt is made. New files get the permissions 0600,
    /// less the umask. Executed programs inherit the descriptor.
    ///
    /// Note: 2, 3 and 6 empty an existing file even when it is opened for reading only.
    ///
    /// Note: sharing is not enforced. The share mode only decides whether the second attempt may
    /// find an existing file, and so whether the line names the real cause: an existing file that
    /// may not be written is "Always existing." without FileShare::ReadWrite.
    ///
    /// Note: descriptor 0, which the system assigns while standard input is closed, counts as a
    /// failure where there is a second attempt, and that one finds the file that the first has just
    /// created or emptied. So 1 always fails, and 2 and 3 fail without FileShare::ReadWrite, each
    /// with "Always existing."; 2 and 3 have emptied an existing file by then. 4 to 7 accept
    /// descriptor 0.
    ///
    /// The lines, each preceded by "[FileIo] Open : ", and errno after them:
    ///
    ///     | line                                          | errno                               |
    ///     | --------------------------------------------- | ----------------------------------- |
    ///     | Invalid Parameter, Creation Disposition Miss. | EOPNOTSUPP; none of the bits 1, 2, 4|
    ///     | Invalid Parameter, File Access Parameter Miss.| unchanged; neither Read nor Write   |
    ///     | Access Denied                                 | EPERM, EACCES, EISDIR, EROFS        |
    ///     | Not found.                                    | ENOENT                              |
    ///     | Not enough memory.                            | ENOMEM                              |
    ///     | Always existing.                              | EEXIST                              |
    ///     | Not a directory.                              | ENOTDIR                             |
    ///     | Too many opened.                              | EMFILE                              |
    ///     | Busy.                                         | ETXTBSY                             |
    ///     | Not enough space.                             | ENOSPC                              |
    ///     | Failed.                                       | any other                           |
    bool Open(const std::string& path, unsigned int nDesiredAccess, unsigned int nShareMode,
              unsigned int nCreationDisposition);

    /// Closes the handle; does nothing when it is closed. errno stays unchanged.
    void Close();

    /// Returns true when the handle is open.
    bool IsOpened();

    /// Reads up to `size` bytes from the position into `buffer`, which holds that many, and
    /// advances the position. Returns the number of bytes read, which may be smaller; 0 at the end
    /// of the file, on failure and on a closed handle.
    unsigned int Read(void* buffer, unsigned int size);

    /// Writes up to `size` bytes of `buffer`, which is not modified, at the position and advances
    /// the position. Returns the number of bytes written, which may be smaller; 0 on failure and on
    /// a closed handle.
    unsigned int Write(void* buffer, unsigned int size);

    /// Moves the position to `offset` bytes from `nMoveMethod`, one of SeekOrigin; an offset back
    /// from the end is negative. Returns the new position, counted from the beginning. On failure
    /// returns 0 and leaves the position; any other `nMoveMethod` fails after the line
    /// "[FileIo] Seek : Invalid Parameter. Move Method Miss\r".
    ///
    /// Note: a closed handle gives -1, unlike every other position operation, whatever the method
    /// and without a line.
    long long Seek(long long offset, unsigned int nMoveMethod);

    /// Returns the position, counted from the beginning; 0 on failure and on a closed handle.
    long long Tell();

    /// Move the position to the beginning, to the end, to `offset` bytes from the beginning, or to
    /// `offset` bytes before the end. Return the new position, counted from the beginning. On
    /// failure and on a closed handle return 0 and leave the position.
    ///
    /// Note: SeekFromEnd counts backwards, unlike Seek from SeekOrigin::End. A negative offset
    /// leads past the end; the smallest one cannot be negated and fails.
    long long SeekToBegin();
    long long SeekToEnd();
    long long SeekFromBegin(long long offset);
    long long SeekFromEnd(long long offset);

    /// Moves the position to the end. Returns true on success; false on failure and on a closed
    /// handle. Note: never truncates or extends the file.
    bool SetEndOfFile();

    /// Moves the position to `size`, then to the end. Returns true on success; false on a closed
    /// handle and when a move fails, with the position where the last successful move left it.
    /// Note: the file's length does not change.
    bool SetFileSize(long long size);

    /// Returns the file's length in bytes; 0 on failure and on a closed handle. Note: moves the
    /// position to the end; after a failure it may be at the beginning.
    long long GetFileSize();

    /// Waits until the written data is stored on the device (`fsync`). Returns true on success;
    /// false on failure and on a closed handle.
    bool Flush();

    /// Return or assign an empty text; the returned one is owned by this object. Note: the handle
    /// does not remember the path that it was opened with.
    const char* GetPath();
    void GetPath(std::string& out);

private:
    long long m_nReserved; // what Seek returns on a closed handle
    int m_hFile;
    std::string m_strPath; // always empty; kept for the layout, which derived classes compile in
};

/// Reserved for text files: holds nothing and does nothing. It can only be constructed and
/// destroyed, from any thread, and is unrelated to FileIo.
class VORN_BASES_API TextFileIo {
public:
    TextFileIo();
    virtual ~TextFileIo();
    TextFileIo(const TextFileIo&) = delete;
    TextFileIo& operator=(const TextFileIo&) = delete;
};

/// Results of FileFind::GetFileType.
namespace FileType {
inline constexpr unsigned int None = 0; ///< there is no current entry
inline constexpr unsigned int Other = 1;
inline constexpr unsigned int Regular = 2;
inline constexpr unsigned int Directory = 3;
} // namespace FileType

/// Iterates over a directory in `readdir` order and reports on the current entry. Links are
/// followed. The object owns its directory stream; one thread uses it at a time. Prints nothing.
///
///     |                     | no search                 | searching                             |
///     | ------------------- | ------------------------- | ------------------------------------- |
///     | FindFirst           | starts at the first entry | false; the current entry stays        |
///     | FindNext            | false                     | moves to the next entry               |
///     | FindClose           | does nothing              | ends the search                       |
///     | GetFileName         | null                      | the current entry's                   |
///     | every other query   | 0                         | the current entry's                   |
///
/// FindNext also returns false for an entry that cannot be stat'ed. To visit all entries, continue
/// while the name changes and skip that one; compare with a copy, since the name's memory does not
/// survive the next call.
///
///     Vorn::FileFind find;
///     std::string last;
///     bool found = find.FindFirst("/etc/", "");
///     while (found || (find.GetFileName() != nullptr && find.GetFileName() != last)) {
///         last = find.GetFileName();
///         if (found)
///             std::printf("%lld %s\n", find.GetFileSize(), last.c_str());
///         found = find.FindNext();
///     }
class VORN_BASES_API FileFind {
public:
    /// The current entry's data; for the implementation only.
    class FileInfo;

    /// Constructs an object without a search.
    FileFind();

    /// Opens the directory as FindFirst does, then discards the entry found. Note: if that
    /// succeeds, the object is unusable until FindClose: every query returns 0 or null and FindNext
    /// false, but the directory stays open, so FindFirst fails.
    FileFind(const std::string& dir, const std::string& pattern);

    /// Ends the search.
    virtual ~FileFind();
    FileFind(const FileFind&) = delete;
    FileFind& operator=(const FileFind&) = delete;

    /// Starts a search at the first entry of the directory `dir` other than "." and "..". `dir`
    /// ends in a separator. `pattern` is ignored: every entry matches. Returns true on success.
    ///
    /// Returns false and changes nothing while a search is open. Returns false, without starting a
    /// search, when the directory cannot be opened or read, holds no entry, or its first entry
    /// cannot be stat'ed. Note: a dangling link that comes first thus fails the whole search. Note:
    /// a directory that cannot be read looks like an empty one; errno tells, as for FindNext.
    ///
    /// Note: names are appended to `dir` as they are. Without its trailing separator the search
    /// fails, or reports on another file that happens to have the resulting name.
    bool FindFirst(const std::string& dir, const std::string& pattern);

    /// Moves to the next entry. Returns true on success. Returns false
    /// - at the end: the last entry stays the current one, the search stays open, and errno keeps
    ///   its value;
    /// - when the directory cannot be read any further: as at the end, but with errno set. Set it
    ///   to 0 before the call to tell the two apart where an incomplete listing matters;
    /// - for an entry that cannot be stat'ed, such as a dangling link: its name is the current one
    ///   then, with the size, type and times of the entry before. The search can go on; the changed
    ///   name distinguishes this from the end.
    ///
    /// Note: unlike FindFirst it also reports "." and "..", wherever the system lists them.
    bool FindNext();

    /// Ends the search, if there is one.
    void FindClose();

    /// Returns the name without the directory, owned by this object and valid until the next
    /// FindFirst, FindNext or FindClose.
    const char* GetFileName();

    /// Returns the size in bytes.
    long long GetFileSize();

    /// Returns one of FileType.
    unsigned int GetFileType();

    /// Return times in milliseconds since 1970-01-01 00:00:00 UTC; earlier ones are negative.
    ///
    /// Note: the creation time is the second of the last status change with the milliseconds of the
    /// last access; the last-access time is that of the last status change. Only the last-write
    /// time is what its name says.
    Time GetFileCreationTime();
    Time GetFileLastAccessTime();
    Time GetFileLastWriteTime();

    /// Returns 1024, a buffer size that suffices for every name.
    long long GetMaxFileNameSize();

private:
    class VORN_BASES_LOCAL Stream;

    // The entry that the queries report on, or null.
    VORN_BASES_LOCAL const FileInfo* Current() const;

    std::unique_ptr<Stream> m_pStream; // null when there is no search
    std::unique_ptr<FileInfo> m_pInfo; // allocated by the first search, kept for later ones
};

/// Whether FileSys::CreateDirLevel creates the path itself; any number but Skip counts as Create.
namespace LastDir {
inline constexpr int Skip = 0;
inline constexpr int Create = 1;
} // namespace LastDir

/// Operations on paths. They hold no state, and any thread may call them; two of them on the same
/// path at the same time interleave as their system calls do.
///
/// Unless stated otherwise they return true on success; on failure they return false and leave
/// their outputs unchanged. Only GetFileSize prints. Links are followed, except by MoveFile,
/// DeleteFile and DeleteDir, which act on the link itself.
namespace FileSys {

/// Returns false and leaves `root` unchanged. The name is reserved.
VORN_BASES_API bool GetRootPath(const std::string& path, std::string& root);

/// Returns the last dot of `path` and what follows it, as a pointer into the text of `path`; null
/// when there is no dot. The pointer is valid as long as that text: never pass a temporary.
///
/// Note: separators do not count. The extension of "dir.d/file" is ".d/file".
VORN_BASES_API const char* GetFileExt(const std::string& path);

/// The same for a zero-terminated text; null for a null pointer.
VORN_BASES_API const char* GetFileExt(const char* path);

/// Assigns the same extension to `ext` and returns true; false when there is none.
VORN_BASES_API bool GetFileExt(const std::string& path, std::string& ext);

/// Stores the length of the file in bytes in `size`. The file is neither created nor changed, and
/// needs no write permission. Note: a device without a length, such as a terminal, gives 0 and
/// true.
///
/// Returns false when the file cannot be opened for reading; directories, pipes and sockets count
/// as such. The cause is printed as by FileIo::Open, except for a pipe: that is not opened, because
/// opening it would wait for a writer.
///
/// Note: the call can still block: on a terminal line without a carrier, and on a pipe without a
/// writer that replaces the file between the check of its type and its opening.
VORN_BASES_API bool GetFileSize(const std::string& path, unsigned long long& size);

/// Store the size of the file system that holds `path`, and how much of it is used and free, in
/// bytes. Note: what is reserved for the superuser counts as used.
///
/// Note: the sizes are the file system's block counts times its preferred transfer size (f_bsize).
/// Where the blocks have another size (f_frsize), they are off by the ratio of the two.
VORN_BASES_API bool GetDiskSize(const std::string& path, unsigned long long& total,
                                unsigned long long& used, unsigned long long& free);
VORN_BASES_API bool GetDiskTotalSize(const std::string& path, unsigned long long& total);
VORN_BASES_API bool GetDiskUsedSize(const std::string& path, unsigned long long& used);
VORN_BASES_API bool GetDiskFreeSize(const std::string& path, unsigned long long& free);

/// Renames a file, a directory or a link within one file system. Note: an existing file at `to` is
/// replaced, and so is an empty directory by a directory.
VORN_BASES_API bool MoveFile(const std::string& from, const std::string& to);

/// Removes a file, a link or an empty directory. An empty `path` gives false.
VORN_BASES_API bool DeleteFile(const std::string& path);

/// Removes an empty directory.
VORN_BASES_API bool DeleteDir(const std::string& path);

/// Creates one directory with the permissions 0755, less the umask. Its parent must exist.
VORN_BASES_API bool CreateDir(const std::string& path);

/// Returns true when `path` is a directory.
VORN_BASES_API bool IsDirectory(const std::string& path);

/// Return true when `path` exists, as a file, a directory or anything else; false for a null
/// pointer. Note: a dangling link does not exist.
VORN_BASES_API bool IsExistFile(const char* path);
VORN_BASES_API bool IsExistFile(const std::string& path);

/// Copies the bytes, the permissions (less the umask) and, where the process may set them, the
/// owner and group of the file `from` to a new file `to`. Times are not copied.
///
/// Returns false and creates nothing when `to` exists, when `from` cannot be opened for reading,
/// and when `to` cannot be created. If `to` is a dangling link, the file is created where it leads.
///
/// Note: returns true once the target has been created, whatever happens then. Bytes that the
/// system does not accept, on a full disk for example, are missing from the target, and a read
/// error ends the copy like the end of the file. Compare the lengths where that matters. A
/// directory `from` is "copied" to an empty file.
///
/// Note: a pipe without a writer as `from` blocks until it has one. The call never returns for an
/// endless source, such as "/dev/zero".
VORN_BASES_API bool CopyFile(const std::string& from, const std::string& to);

/// Creates the missing directories on the way to `path`: every part of `path` that ends in "/",
/// searching for these from the character at index `level` on. `createLast` is one of LastDir:
/// Create creates `path` itself as well, which matters when it does not end in "/".
///
/// Returns true when each one existed or was created and `path` is a directory at the end. Returns
/// false for an empty `path`, and after the first one that could not be created; those before it
/// stay, and LastDir::Create still tries `path` itself.
///
///     namespace LastDir = Vorn::LastDir;
///     using Vorn::FileSys::CreateDirLevel;
///     CreateDirLevel("logs/2024/", 0, LastDir::Skip);     // true: creates "logs" and "logs/2024"
///     CreateDirLevel("logs/2024/11", 0, LastDir::Skip);   // false: there is no "logs/2024/11"
///     CreateDirLevel("logs/2024/11", 0, LastDir::Create); // true: creates it
///
/// Note: from level 0, the first two directories of an absolute path are assumed to exist and are
/// never created, except `path` itself by LastDir::Create. A path with fewer than two separators
/// after its second character, such as "/x" or "/x/y", gives true at once, whatever `createLast`
/// is, and nothing is checked or created. A level at or past the end of the text counts as 0.
///
/// Note: a part of two characters, such as "./" or "a/", is never created, except `path` itself by
/// LastDir::Create.
///
/// Note: a directory that another thread or process creates between the check for it and the
/// attempt to create it counts as one that could not be created: of two callers that create the
/// same chain at once, one may get false although the directory is there. Calling again gives true.
VORN_BASES_API bool CreateDirLevel(const std::string& path, unsigned long level, int createLast);

} // namespace FileSys

} // namespace Vorn

#endif
