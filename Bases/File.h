#ifndef VORN_BASES_FILE_H
#define VORN_BASES_FILE_H

// Binary files by desktop-style access, share and disposition words, over POSIX descriptors; the
// entries of a directory; operations on files and directories by path.
//
// Nothing here throws. A failure is a false or a 0 (Seek of a closed handle: -1). FileIo's Open
// tells the cause, and its Seek an unknown method, in one line on standard output that ends in a
// carriage return and a newline. Standard output is the host's: the line is written with puts and
// not flushed. No line disturbs errno.
//
// Paths are in the platform's own encoding and go to it unchanged.

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

/// Share modes of FileIo::Open. Sharing is not enforced; see there for the little that it does.
namespace FileShare {
inline constexpr unsigned int None = 0;
inline constexpr unsigned int Read = 1;
inline constexpr unsigned int Write = 2;
inline constexpr unsigned int ReadWrite = Read | Write;
} // namespace FileShare

/// Creation dispositions of FileIo::Open, named after what they do. 3 does what CreateOrEmpty does;
/// the number that opens an existing file in other systems empties it here, and has no name.
namespace FileDisposition {
inline constexpr unsigned int CreateNew = 1;     ///< creates the file; it must not exist
inline constexpr unsigned int CreateOrEmpty = 2; ///< creates the file, or empties the existing one
inline constexpr unsigned int OpenExisting = 4;  ///< opens the file; it must exist
inline constexpr unsigned int CreateNewToWrite = 5; ///< CreateNew; the access must include writing
} // namespace FileDisposition

/// Origins of FileIo::Seek.
namespace SeekOrigin {
inline constexpr unsigned int Begin = 0;
inline constexpr unsigned int Current = 1;
inline constexpr unsigned int End = 2;
} // namespace SeekOrigin

/// Results of FileFind::GetFileType.
namespace FileType {
inline constexpr unsigned int None = 0; ///< there is no current entry
inline constexpr unsigned int Other = 1;
inline constexpr unsigned int Regular = 2;
inline constexpr unsigned int Directory = 3;
} // namespace FileType

/// An unbuffered binary file: each operation is one call of the platform, which is neither repeated
/// when a signal interrupts it nor continued when it did only a part. The object owns its
/// descriptor. It is used by one thread at a time.
///
///     |                | closed                    | open                                       |
///     | -------------- | ------------------------- | ------------------------------------------ |
///     | Open           | opens                     | closes, then opens                         |
///     | Close          | does nothing              | closes                                     |
///     | Read, Write    | 0                         | bytes moved, 0 on failure                  |
///     | Seek           | -1                        | new position, 0 on failure                 |
///     | Tell           | 0                         | position, 0 on failure                     |
///     | SeekTo...,     | 0                         | new position, 0 on failure                 |
///     | SeekFrom...    |                           |                                            |
///     | SetEndOfFile,  | false                     | moves to the end, the length stays         |
///     | SetFileSize    |                           |                                            |
///     | GetFileSize    | 0                         | length; moves to the end; 0 on failure     |
///     | Flush          | false                     | true when the system took it               |
///     | GetPath        | empty                     | empty                                      |
///
/// A failed position query cannot be told from position 0.
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
    /// What stands for the descriptor of a handle that is not open.
    static constexpr int InvalidFileIoHandle = -1;

    /// Makes a handle that is not open.
    FileIo();

    /// Closes the handle.
    virtual ~FileIo();
    FileIo(const FileIo&) = delete;
    FileIo& operator=(const FileIo&) = delete;

    /// Closes the handle if it is open, then opens the file at `path`. Returns true on success.
    /// Returns false after one line on standard output otherwise; the handle is then closed.
    ///
    /// `nDesiredAccess` is one of FileAccess; other bits are ignored. `nShareMode` is one of
    /// FileShare; see below for the little that it does. `nCreationDisposition` is one of
    /// FileDisposition. It is a set of bits, so the numbers mean:
    ///
    ///     | number, name     | first attempt                  | second attempt if the first fails  |
    ///     | ---------------- | ------------------------------ | ---------------------------------- |
    ///     | 1, CreateNew     | creates the file; it must not  | the same again                     |
    ///     |                  | exist                          |                                    |
    ///     | 2, CreateOrEmpty | creates or empties the file    | the same; unless shared for both,  |
    ///     | 3                |                                | the file must not exist            |
    ///     | 4, OpenExisting  | the file must exist            | none                               |
    ///     | 5, Create-       | as 1; the access must include  | none                               |
    ///     | NewToWrite       | writing                        |                                    |
    ///     | 6, 7             | creates or empties the file;   | none                               |
    ///     |                  | 7 asks for writing as 5 does   |                                    |
    ///
    /// Bits above these do not count. Asking for 5 or 7 without writing is the caller's mistake and
    /// ends the process by an assertion; where assertions are compiled out, the attempt is made. A
    /// file that is made gets the permissions 0600, less the process's mask. A program that this
    /// one executes inherits the descriptor.
    ///
    /// Note: 2 and 3 empty an existing file although it is opened only to read.
    ///
    /// Note: sharing is not enforced. The word only decides whether the second attempt may meet an
    /// existing file, and with it whether the line names the real cause: an existing file that may
    /// not be written is "Always existing." unless it is shared for both.
    ///
    /// Note: descriptor 0, which the system gives when standard input is closed, is taken for a
    /// failure where there is a second attempt, and that one meets the file that the first has
    /// made or emptied: 1 always fails then; 2 and 3 fail with "Always existing." unless shared for
    /// both, and have emptied an existing file by then. 4 to 7 accept descriptor 0.
    ///
    /// The lines, each begun with "[FileIo] Open : ", and errno as it stands after them:
    ///
    ///     | line                                          | errno                               |
    ///     | --------------------------------------------- | ----------------------------------- |
    ///     | Invalid Parameter, Creation Disposition Miss. | EOPNOTSUPP; none of bits 1, 2, 4    |
    ///     | Invalid Parameter, File Access Parameter Miss.| untouched; neither access bit       |
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

    /// Closes the handle; does nothing when it is not open. errno is untouched.
    void Close();

    /// Returns true when the handle is open.
    bool IsOpened();

    /// Reads at most `size` bytes into `buffer`, which has room for them, from the position on, and
    /// moves the position behind them. Returns how many there were, which may be fewer; 0 at the
    /// end of the file, on failure, and when the handle is not open.
    unsigned int Read(void* buffer, unsigned int size);

    /// Writes at most `size` bytes from `buffer`, which is not changed, at the position, and moves
    /// the position behind them. Returns how many were written, which may be fewer; 0 on failure
    /// and when the handle is not open.
    unsigned int Write(void* buffer, unsigned int size);

    /// Moves the position to `offset` bytes from the origin `nMoveMethod`, one of SeekOrigin; an
    /// offset back from the end is negative. Returns the new position, from
    /// the begin. On failure returns 0 and the position stays, after the line
    /// "[FileIo] Seek : Invalid Parameter. Move Method Miss\r" if the method is another number.
    ///
    /// Note: alone among the position operations it returns -1 when the handle is not open, before
    /// it looks at the method.
    long long Seek(long long offset, unsigned int nMoveMethod);

    /// Returns the position, in bytes from the begin; 0 on failure and when the handle is not open.
    long long Tell();

    /// Move the position to the begin, the end, `offset` bytes behind the begin, or `offset` bytes
    /// before the end. Return the new position, from the begin; on failure, and when the handle is
    /// not open, return 0 and the position stays.
    ///
    /// Note: SeekFromEnd counts backwards, unlike Seek with method 2. A negative offset leads
    /// behind the end; the smallest one has no opposite and fails.
    long long SeekToBegin();
    long long SeekToEnd();
    long long SeekFromBegin(long long offset);
    long long SeekFromEnd(long long offset);

    /// Moves the position to the end. Returns true on success; false on failure and when the handle
    /// is not open. Note: the file is never cut off or extended.
    bool SetEndOfFile();

    /// Moves the position to `size`, then to the end. Returns true on success; false when the
    /// handle is not open or a move fails, in which case the position is where the last successful
    /// move led. Note: the file's length stays what it is.
    bool SetFileSize(long long size);

    /// Returns the file's length in bytes; 0 on failure and when the handle is not open.
    ///
    /// Note: afterwards the position is at the end. After a failure it may be at the begin.
    long long GetFileSize();

    /// Waits until the system has stored what was written. Returns true on success; false on
    /// failure and when the handle is not open.
    bool Flush();

    /// Returns an empty text, owned by this object; the second form assigns it to `out`. Note: the
    /// handle does not remember the path that it was opened with.
    const char* GetPath();
    void GetPath(std::string& out);

private:
    long long m_nReserved; // what Seek returns on a closed handle
    int m_hFile;
    std::string m_strPath; // always empty; kept for the layout, which derived classes compile in
};

/// Keeps the name of a handle for text files. It holds nothing and does nothing: it can only be
/// made and destroyed, from any thread, and is unrelated to FileIo.
class VORN_BASES_API TextFileIo {
public:
    TextFileIo();
    virtual ~TextFileIo();
    TextFileIo(const TextFileIo&) = delete;
    TextFileIo& operator=(const TextFileIo&) = delete;
};

/// Walks through the entries of a directory one by one, in the order in which the system gives them,
/// and tells about the current one. Links are followed. The object owns its directory stream. It is
/// used by one thread at a time. Nothing is printed.
///
///     |                     | no search                 | searching                             |
///     | ------------------- | ------------------------- | ------------------------------------- |
///     | FindFirst           | begins at the first entry | false; the current entry stays        |
///     | FindNext            | false                     | goes to the next entry                |
///     | FindClose           | does nothing              | ends the search                       |
///     | GetFileName         | null                      | the current entry's                   |
///     | every other query   | 0                         | the current entry's                   |
///
/// A complete walk goes on after false while the name changes, and skips the entry of which nothing
/// could be learned. It keeps a copy of the last name: the pointer does not survive the next call.
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
    /// What is kept of the current entry; for the implementation only.
    class FileInfo;

    /// Makes an object without a search.
    FileFind();

    /// Opens the directory as FindFirst does, and forgets the entry found. Note: there is nothing to
    /// be had from such an object. Every query gives 0 or null and FindNext false, but the directory
    /// stays open and FindFirst fails until FindClose.
    FileFind(const std::string& dir, const std::string& pattern);

    /// Ends the search.
    virtual ~FileFind();
    FileFind(const FileFind&) = delete;
    FileFind& operator=(const FileFind&) = delete;

    /// Begins a search at the first entry of the directory `dir` that is neither "." nor "..".
    /// `dir` ends in a separator. `pattern` is not looked at: every entry matches. Returns true on
    /// success.
    ///
    /// Returns false when a search is open, which is left as it is. Returns false, and there is no
    /// search then, when the directory cannot be opened, holds no entry, or nothing can be learned of
    /// the first one. Note: a link that leads nowhere fails a whole search when it comes first.
    ///
    /// Note: names are appended to `dir` as they are. Without a separator at its end the search
    /// fails, or tells about the file that happens to have the name made up so.
    bool FindFirst(const std::string& dir, const std::string& pattern);

    /// Goes to the next entry. Returns true on success.
    ///
    /// Returns false at the end; the last entry then stays the current one and the search open.
    /// Returns false, too, when nothing can be learned of the next entry, such as a link that leads
    /// nowhere: its name is the current one then, with the size, kind and times of the entry before.
    /// The search can go on; that the name has changed tells the two apart.
    ///
    /// Returns false, too, when the system cannot read on in the directory: as at the end, but with
    /// errno set. At the end errno stays what it was, so set it to 0 before the call to tell them
    /// apart where an incomplete walk matters.
    ///
    /// Note: unlike FindFirst it gives "." and "..", wherever the system has them.
    bool FindNext();

    /// Ends the search. Does nothing when there is none.
    void FindClose();

    /// Returns the name, without the directory, owned by this object; it lives until the next call
    /// of FindFirst, FindNext or FindClose.
    const char* GetFileName();

    /// Returns the size in bytes.
    long long GetFileSize();

    /// Returns one of FileType: 2 for a regular file, 3 for a directory, 1 for anything else.
    unsigned int GetFileType();

    /// Return times in milliseconds since 1970-01-01 00:00:00 universal time; negative ones before.
    ///
    /// Note: the creation time is the second of the last status change with the milliseconds of the
    /// last access; the last-access time is that of the last status change. Only the last-write time
    /// is what it is called.
    Time GetFileCreationTime();
    Time GetFileLastAccessTime();
    Time GetFileLastWriteTime();

    /// Returns 1024, the room that suffices for every name.
    long long GetMaxFileNameSize();

private:
    class VORN_BASES_LOCAL Stream;

    // The entry that the queries tell about, or null.
    VORN_BASES_LOCAL const FileInfo* Current() const;

    std::unique_ptr<Stream> m_pStream; // null when there is no search
    std::unique_ptr<FileInfo> m_pInfo; // made by the first search and kept for the next ones
};

/// Operations on paths. They hold no state and may be called from any thread; two of them that work
/// on the same path at the same time meet as the system's own calls do.
///
/// Unless stated otherwise they return true on success; they return false and leave their outputs
/// as they were when the system refuses. Nothing is printed, but for GetFileSize. Links are
/// followed except where an operation takes away or renames the link itself.
namespace FileSys {

/// Returns false and leaves `root` as it is. The name is reserved.
VORN_BASES_API bool GetRootPath(const std::string& path, std::string& root);

/// Returns the last dot of `path` and what follows it, as a pointer into the text of `path`, or
/// null when it has no dot. The pointer lives as long as that text: never pass a temporary.
///
/// Note: separators do not count. The extension of "dir.d/file" is ".d/file".
VORN_BASES_API const char* GetFileExt(const std::string& path);

/// The same for a zero-terminated text; null for a null pointer.
VORN_BASES_API const char* GetFileExt(const char* path);

/// Assigns the same extension to `ext` and returns true; false when there is none.
VORN_BASES_API bool GetFileExt(const std::string& path, std::string& ext);

/// Stores the length of the file in bytes in `size`.
///
/// Returns false when the file cannot be opened for reading, which includes directories, pipes and
/// sockets. FileIo then tells the cause on standard output, as in FileIo::Open; for a pipe there is
/// no line, because it is not opened at all: that would wait for a writer.
///
/// The file is neither made nor changed, and needs no permission to be written. Note: a device that
/// has no length, such as a terminal, gives 0 and true.
///
/// Note: it can block all the same: for a terminal line that has no carrier, and when a pipe without
/// a writer takes the place of the file in the moment between the look at its kind and its opening.
VORN_BASES_API bool GetFileSize(const std::string& path, unsigned long long& size);

/// Store the size of the file system that holds `path`, the part of it in use and the part that is
/// free, in bytes. Note: what is reserved for the superuser counts as used.
///
/// Note: the sizes are the file system's block counts times its preferred transfer size (f_bsize).
/// Where it counts blocks of another size (f_frsize), they are off by the ratio of the two.
VORN_BASES_API bool GetDiskSize(const std::string& path, unsigned long long& total,
                                unsigned long long& used, unsigned long long& free);
VORN_BASES_API bool GetDiskTotalSize(const std::string& path, unsigned long long& total);
VORN_BASES_API bool GetDiskUsedSize(const std::string& path, unsigned long long& used);
VORN_BASES_API bool GetDiskFreeSize(const std::string& path, unsigned long long& free);

/// Renames a file, a directory or a link, within one file system. Note: an existing file at `to` is
/// replaced, and so is an empty directory by a directory.
VORN_BASES_API bool MoveFile(const std::string& from, const std::string& to);

/// Removes a file, a link or an empty directory. An empty `path` gives false.
VORN_BASES_API bool DeleteFile(const std::string& path);

/// Removes an empty directory.
VORN_BASES_API bool DeleteDir(const std::string& path);

/// Makes one directory with the permissions 0755, less the process's mask. Its parent must exist.
VORN_BASES_API bool CreateDir(const std::string& path);

/// Returns true when there is a directory at `path`.
VORN_BASES_API bool IsDirectory(const std::string& path);

/// Return true when there is anything at `path`, directories included; false for a null pointer.
/// Note: a link that leads nowhere does not exist.
VORN_BASES_API bool IsExistFile(const char* path);
VORN_BASES_API bool IsExistFile(const std::string& path);

/// Copies the bytes, the permissions (less the process's mask) and, where the process may give
/// files away, the owner of the file at `from` to a new file at `to`. Times are not copied.
///
/// Returns false, and makes nothing, when there is something at `to` already, when `from` cannot be
/// opened for reading, and when `to` cannot be made. A link at `to` that leads nowhere gets the file
/// made where it leads.
///
/// Note: returns true once the target has been made, whatever happens then. Bytes that the system
/// does not take, on a full disk for example, are missing from the target, and a read error ends
/// the copy like the end of the file. Compare the lengths where that matters. A directory at `from`
/// is "copied" to an empty file.
///
/// Note: a pipe without a writer at `from` blocks until it has one. The call never returns for a
/// source without end, such as "/dev/zero".
VORN_BASES_API bool CopyFile(const std::string& from, const std::string& to);

/// Whether CreateDirLevel creates the last part of the path, too.
inline constexpr int SkipLast = 0;
inline constexpr int CreateLast = 1;

/// Makes the directories on the way to `path` that are missing: every part of `path` that ends in
/// "/", looking for these from the character at index `level` on. With `createLast` CreateLast it makes
/// `path` itself as well, which matters when that does not end in "/".
///
/// Returns true when each one existed or was made and `path` is a directory at the end. Returns
/// false for an empty `path`, and after the first one that could not be made; those before it stay,
/// and `createLast` is tried all the same.
///
///     using Vorn::FileSys::CreateDirLevel;
///     using Vorn::FileSys::CreateLast;
///     using Vorn::FileSys::SkipLast;
///     CreateDirLevel("logs/2024/", 0, SkipLast);     // true: makes "logs" and "logs/2024"
///     CreateDirLevel("logs/2024/11", 0, SkipLast);   // false: "logs/2024/11" is not there
///     CreateDirLevel("logs/2024/11", 0, CreateLast); // true: makes it
///
/// Note: from level 0, the first two directories of an absolute path are taken to exist and are
/// never made, except `path` itself with `createLast`. A path with fewer than two separators behind
/// its second character, such as "/x" or "/x/y", gives true at once, also with `createLast`, and
/// nothing is looked at or made. A level that is not inside the text counts as 0.
///
/// Note: a part that is two characters long, such as "./" or "a/", is never made, except `path`
/// itself with `createLast`.
///
/// Note: when another thread or process makes one of the directories between the look at it and the
/// attempt to make it, that counts as one that could not be made: of two that make the same chain
/// at once, one may get false although the directory is there. Calling again gives true.
VORN_BASES_API bool CreateDirLevel(const std::string& path, unsigned long level, int createLast);

} // namespace FileSys

} // namespace Vorn

#endif
