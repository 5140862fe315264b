#pragma once
// Locks on an open file description: closing another descriptor of the same file doesn't drop them,
// and two connections of one process exclude each other like two processes. They lie on bytes far
// behind the data, so no read or write is ever stopped by them.

#include "files/file.h"

#include <chrono>
#include <cstdint>

namespace vantry::file {

enum class LockKind : std::uint8_t { Shared, Exclusive };

// The bytes that are locked, and what holding each means.
enum class LockByte : std::uint8_t {
    Turn,     // exclusive: the next to write; keeps a steady writer from shutting others out
    Writer,   // exclusive: a transaction is open
    Content,  // shared: pages are being read; exclusive: pages are being changed in the file
};

// Bytes that other programs lock.
struct ByteRange {
    std::uint64_t start = 0;
    std::uint64_t length = 0;
};

// How long waiting for a lock may take; 5 seconds unless a test says otherwise.
std::chrono::milliseconds LockTimeout();
void SetLockTimeout(std::chrono::milliseconds timeout);

// False if somebody else holds a lock against it. Throws where the file system refuses to lock.
bool TryLock(const File& file, LockByte byte, LockKind kind);
// Waits up to the timeout, then throws kErrInUse with the name of who holds the file where that can
// be found.
void Lock(const File& file, LockByte byte, LockKind kind);
// The same with at least that much patience: where rows would be lost that were accepted long ago.
void LockPatiently(const File& file, LockByte byte, LockKind kind, std::chrono::milliseconds least);
void Unlock(const File& file, LockByte byte);
// The same for bytes of which other programs make use.
bool TryLock(const File& file, ByteRange range, LockKind kind);
void Lock(const File& file, ByteRange range, LockKind kind);
void Unlock(const File& file, ByteRange range);
// Whether somebody else holds a lock that excludes a lock of that kind.
bool LockedByOther(const File& file, LockByte byte, LockKind kind);

// Processes of this user that hold locks on the file, as "name (process 123)"; empty if unknown.
std::string HoldersOf(const File& file);

}  // namespace vantry::file
