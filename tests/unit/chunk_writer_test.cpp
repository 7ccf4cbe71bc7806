// The writer thread on its own: order of chunks across files, and a failed write reported
// back to the inflating side.
#include "services/base.h"

#include <gtest/gtest.h>

#include "test_support.h"
#include "jobs/chunk_writer.h"
#include "zip/extract.h"

#include <cstring>
#include <string>

namespace {

HANDLE OpenForWriting(const std::string& path) {
  return CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Queues count chunks of different lengths, each filled with its own letter; returns what
// the file should hold.
std::string Queue(ChunkWriter* writer, int count, char first) {
  std::string expected;
  for (int i = 0; i < count; ++i) {
    size_t length = kWriterChunk - static_cast<size_t>(i) * 4099;
    char* buffer = ChunkWriterBuffer(writer);
    memset(buffer, first + i, length);
    EXPECT_TRUE(ChunkWriterSubmit(writer, length)) << i;
    expected.append(length, static_cast<char>(first + i));
  }
  return expected;
}

TEST(ChunkWriter, ChunksReachEachFileInOrder) {
  std::string folder = ScratchDir("chunk_writer");
  ChunkWriter* writer = CreateChunkWriter();
  ASSERT_NE(writer, nullptr);
  // More chunks than the ring holds, then a second file through the same thread.
  std::string expected[2];
  for (int file = 0; file < 2; ++file) {
    std::string path = folder + "\\file" + std::to_string(file);
    HANDLE handle = OpenForWriting(path);
    ASSERT_NE(handle, INVALID_HANDLE_VALUE);
    ChunkWriterBegin(writer, handle);
    expected[file] = Queue(writer, 9 - file * 6, file ? 'a' : 'A');
    EXPECT_EQ(ChunkWriterFinish(writer), 0u);
    CloseHandle(handle);
  }
  DestroyChunkWriter(writer);
  for (int file = 0; file < 2; ++file)
    EXPECT_TRUE(ReadFileBytes(folder + "\\file" + std::to_string(file)) == expected[file]) << file;
}

TEST(ChunkWriter, FailedWriteStopsTheFileAndIsReported) {
  std::string folder = ScratchDir("chunk_writer_fail");
  std::string path = folder + "\\readonly";
  HANDLE handle = OpenForWriting(path);
  ASSERT_NE(handle, INVALID_HANDLE_VALUE);
  CloseHandle(handle);
  handle = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(handle, INVALID_HANDLE_VALUE);

  ChunkWriter* writer = CreateChunkWriter();
  ASSERT_NE(writer, nullptr);
  ChunkWriterBegin(writer, handle);
  ChunkWriterBuffer(writer);
  EXPECT_TRUE(ChunkWriterSubmit(writer, 1000));  // the writer has not tried it yet
  EXPECT_EQ(ChunkWriterFinish(writer), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  ChunkWriterBuffer(writer);
  EXPECT_FALSE(ChunkWriterSubmit(writer, 1000)) << "the inflating side learns of the failure";
  CloseHandle(handle);

  // The next file starts clean.
  std::string good = folder + "\\good";
  handle = OpenForWriting(good);
  ChunkWriterBegin(writer, handle);
  std::string expected = Queue(writer, 2, 'x');
  EXPECT_EQ(ChunkWriterFinish(writer), 0u);
  CloseHandle(handle);
  DestroyChunkWriter(writer);
  EXPECT_TRUE(ReadFileBytes(good) == expected);
}

}  // namespace
