#ifndef VORN_BASES_FILE_H
#define VORN_BASES_FILE_H

// Binary files by desktop-style access, share and disposition words, over POSIX descriptors.
//
// Nothing here throws. A failure is a false or a 0; Open and Seek tell its cause as well, in one
// line on standard output that ends in a carriage return and a newline. Standard output is the
// host's: the line is written with puts and not flushed. No line disturbs errno.
//
// Paths are in the platform's own encoding and go to it unchanged.

#include <string>

#include <Bases/Export.h>

namespace Vorn {

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
///     if (file.Open("notes.bin", 0xC0000000, 0, 2)) { // read and write; made, or emptied
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
    /// `nDesiredAccess` holds 0x80000000 to read, 0x40000000 to write, or both; other bits do not
    /// count. `nShareMode` holds 1 to share for reading and 2 to share for writing; see below for
    /// the little that it does. `nCreationDisposition` is a set of bits, so that the numbers mean:
    ///
    ///     | number | first attempt                      | second attempt if the first fails      |
    ///     | ------ | ---------------------------------- | -------------------------------------- |
    ///     | 1      | makes the file; it must not exist  | the same again                         |
    ///     | 2, 3   | makes or empties the file          | the same; unless shared for both, the  |
    ///     |        |                                    | file must not exist                    |
    ///     | 4      | the file must exist                | none                                   |
    ///     | 5      | as 1; the access must include      | none                                   |
    ///     |        | writing                            |                                        |
    ///     | 6, 7   | makes or empties the file; 7 asks  | none                                   |
    ///     |        | for writing as 5 does              |                                        |
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
    /// made: 1 always fails then, 2 and 3 do unless shared for both. 4 to 7 accept descriptor 0.
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

    /// Moves the position to `offset` bytes from the begin (`nMoveMethod` 0), from the position (1)
    /// or from the end (2; an offset back from the end is negative). Returns the new position, from
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
    std::string m_strPath;
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

} // namespace Vorn

#endif
