// Synchronous CFReadStream (file or memory) and CFWriteStream (file). Failures
// put the stream in the error state with a POSIX-domain CFError.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include "CFInternal.h"

struct __CFReadStream {
  CFRuntimeBase base;
  CFStreamStatus status;
  int error;         // errno of the failure, in kCFStreamStatusError
  int fd;            // file streams, while open
  std::string path;  // empty for memory streams
  const UInt8 *bytes;
  CFIndex length, offset;
  CFAllocatorRef bytesDeallocator;
};

struct __CFWriteStream {
  CFRuntimeBase base;
  CFStreamStatus status;
  int error;
  int fd;
  std::string path;
};

namespace emu {
namespace {

template <typename Stream>
void fail(Stream *stream) {
  stream->error = errno;
  stream->status = kCFStreamStatusError;
}

template <typename Stream>
void closeFile(Stream *stream) {
  if (stream->fd >= 0) close(stream->fd);
  stream->fd = -1;
}

template <typename Stream>
CFErrorRef copyError(const Stream *stream) {
  if (stream->status != kCFStreamStatusError) return nullptr;
  return CFErrorCreate(nullptr, kCFErrorDomainPOSIX, stream->error, nullptr);
}

std::string filePath(CFURLRef url, const char *function) {
  UInt8 path[4096];
  if (!CFURLGetFileSystemRepresentation(url, true, path, sizeof path)) fatal("%s(): path too long", function);
  return reinterpret_cast<char *>(path);
}

void readStreamFinalize(CFTypeRef cf) {
  auto *stream = static_cast<__CFReadStream *>(const_cast<void *>(cf));
  closeFile(stream);
  if (stream->bytes) deallocateBytes(stream->bytesDeallocator, stream->bytes);
  cfFinalize<__CFReadStream>(cf);
}

void writeStreamFinalize(CFTypeRef cf) {
  auto *stream = static_cast<__CFWriteStream *>(const_cast<void *>(cf));
  closeFile(stream);
  cfFinalize<__CFWriteStream>(cf);
}

__CFReadStream *readStreamArg(CFReadStreamRef stream, const char *function) {
  requireType(stream, kReadStreamTypeID, function);
  return stream;
}

__CFWriteStream *writeStreamArg(CFWriteStreamRef stream, const char *function) {
  requireType(stream, kWriteStreamTypeID, function);
  return stream;
}

}  // namespace

const CFRuntimeClass kReadStreamClass = {"CFReadStream", readStreamFinalize, nullptr, nullptr, nullptr, nullptr};
const CFRuntimeClass kWriteStreamClass = {"CFWriteStream", writeStreamFinalize, nullptr, nullptr, nullptr, nullptr};

}  // namespace emu

using namespace emu;

extern "C" {

CFTypeID CFReadStreamGetTypeID(void) { return kReadStreamTypeID; }
CFTypeID CFWriteStreamGetTypeID(void) { return kWriteStreamTypeID; }

CFReadStreamRef CFReadStreamCreateWithBytesNoCopy(CFAllocatorRef, const UInt8 *bytes, CFIndex length,
                                                  CFAllocatorRef bytesDeallocator) {
  if (length < 0) fatal("CFReadStreamCreateWithBytesNoCopy() called with negative length %ld", length);
  __CFReadStream *stream = cfCreate<__CFReadStream>(kReadStreamTypeID);
  stream->fd = -1;
  stream->bytes = bytes;
  stream->length = length;
  stream->bytesDeallocator = bytesDeallocator;
  return stream;
}

CFReadStreamRef CFReadStreamCreateWithFile(CFAllocatorRef, CFURLRef fileURL) {
  __CFReadStream *stream = cfCreate<__CFReadStream>(kReadStreamTypeID);
  stream->fd = -1;
  stream->path = filePath(fileURL, "CFReadStreamCreateWithFile");
  return stream;
}

CFWriteStreamRef CFWriteStreamCreateWithFile(CFAllocatorRef, CFURLRef fileURL) {
  __CFWriteStream *stream = cfCreate<__CFWriteStream>(kWriteStreamTypeID);
  stream->fd = -1;
  stream->path = filePath(fileURL, "CFWriteStreamCreateWithFile");
  return stream;
}

CFStreamStatus CFReadStreamGetStatus(CFReadStreamRef stream) {
  return readStreamArg(stream, "CFReadStreamGetStatus")->status;
}

CFErrorRef CFReadStreamCopyError(CFReadStreamRef stream) {
  return copyError(readStreamArg(stream, "CFReadStreamCopyError"));
}

Boolean CFReadStreamOpen(CFReadStreamRef stream) {
  __CFReadStream *s = readStreamArg(stream, "CFReadStreamOpen");
  if (s->status != kCFStreamStatusNotOpen) return false;
  if (!s->path.empty()) {
    s->fd = open(s->path.c_str(), O_RDONLY | O_CLOEXEC);
    if (s->fd < 0) {
      fail(s);
      return false;
    }
  }
  s->status = kCFStreamStatusOpen;
  return true;
}

void CFReadStreamClose(CFReadStreamRef stream) {
  __CFReadStream *s = readStreamArg(stream, "CFReadStreamClose");
  closeFile(s);
  if (s->status != kCFStreamStatusNotOpen) s->status = kCFStreamStatusClosed;
}

// A memory stream is at its end as soon as its last byte is read; a file
// stream once a read finds no more bytes.
CFIndex CFReadStreamRead(CFReadStreamRef stream, UInt8 *buffer, CFIndex bufferLength) {
  __CFReadStream *s = readStreamArg(stream, "CFReadStreamRead");
  if (s->status == kCFStreamStatusAtEnd) return 0;
  if (s->status != kCFStreamStatusOpen) return -1;
  if (bufferLength <= 0) return 0;
  if (s->path.empty()) {
    CFIndex count = std::min(bufferLength, s->length - s->offset);
    if (count > 0) std::memcpy(buffer, s->bytes + s->offset, static_cast<size_t>(count));
    s->offset += count;
    if (s->offset == s->length) s->status = kCFStreamStatusAtEnd;
    return count;
  }
  ssize_t count;
  do {
    count = read(s->fd, buffer, static_cast<size_t>(bufferLength));
  } while (count < 0 && errno == EINTR);
  if (count < 0) {
    fail(s);
    return -1;
  }
  if (count == 0) s->status = kCFStreamStatusAtEnd;
  return count;
}

CFStreamStatus CFWriteStreamGetStatus(CFWriteStreamRef stream) {
  return writeStreamArg(stream, "CFWriteStreamGetStatus")->status;
}

CFErrorRef CFWriteStreamCopyError(CFWriteStreamRef stream) {
  return copyError(writeStreamArg(stream, "CFWriteStreamCopyError"));
}

Boolean CFWriteStreamOpen(CFWriteStreamRef stream) {
  __CFWriteStream *s = writeStreamArg(stream, "CFWriteStreamOpen");
  if (s->status != kCFStreamStatusNotOpen) return false;
  s->fd = open(s->path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (s->fd < 0) {
    fail(s);
    return false;
  }
  s->status = kCFStreamStatusOpen;
  return true;
}

void CFWriteStreamClose(CFWriteStreamRef stream) {
  __CFWriteStream *s = writeStreamArg(stream, "CFWriteStreamClose");
  closeFile(s);
  if (s->status != kCFStreamStatusNotOpen) s->status = kCFStreamStatusClosed;
}

CFIndex CFWriteStreamWrite(CFWriteStreamRef stream, const UInt8 *buffer, CFIndex bufferLength) {
  __CFWriteStream *s = writeStreamArg(stream, "CFWriteStreamWrite");
  if (s->status != kCFStreamStatusOpen) return -1;
  CFIndex written = 0;
  while (written < bufferLength) {
    ssize_t count = write(s->fd, buffer + written, static_cast<size_t>(bufferLength - written));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      fail(s);
      return -1;
    }
    written += count;
  }
  return written;
}

}  // extern "C"
