// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

// The confinement of a process that decodes foreign media. A decoder that a
// hostile file takes over has this process, and nothing beyond it.
namespace vaultmere {

/// Private writable memory for a decoder's process, in bytes: three times what one
/// decode may take for pixels (`kMaxDecodeBytes`, 1 GiB), since an interlaced picture
/// is whole in memory while it is converted, and its bitmap beside it. On a small
/// machine half of its memory, but at least 768 MiB: what a progressive JPEG of 60
/// megapixels takes.
[[nodiscard]] std::uint64_t defaultMaxData();

/// Sizes in bytes.
struct SandboxOptions {
  /// Of heap, stacks of threads and other private writable memory. An allocation
  /// beyond it fails. No limit in builds with a sanitizer.
  std::uint64_t maxData = defaultMaxData();
  /// Of everything that is mapped, files and reserved ranges included. Four times
  /// what a decode was seen to map; it only stops what reserves without end. No
  /// limit in builds with a sanitizer.
  std::uint64_t maxAddressSpace = std::uint64_t{16} << 30;
  /// Of one file in memory (memfd), such as the pixels of one answer: those of the
  /// largest RGB picture that is decoded, with a fourth byte each, and some more.
  /// Growing it further fails with EFBIG.
  std::uint64_t maxFileSize = std::uint64_t{3} << 29;
  /// Standard streams, the socket, a request's file, its answer, and what a library
  /// opens meanwhile; it bounds also how many files in memory there can be at once.
  std::uint64_t maxOpenFiles = 32;
  /// Runs only when nothing else wants the processor or the disk. Not to be undone.
  bool isBackground = false;
  /// Files and folders, with what is in them, that stay readable besides the system's
  /// libraries: the program's own configuration of a library. Missing ones are skipped.
  std::vector<std::filesystem::path> readable{};
};

/// What the kernel had for it.
struct SandboxReport {
  int landlockAbi = 0;         ///< 0 for none: then files are protected by permissions alone
  bool isSeccompOn = false;    ///< false where the kernel has no filters of system calls
  bool isDataBounded = false;  ///< false in builds with a sanitizer
  /// Threads that were there before, which Landlock doesn't bind; the filter of
  /// system calls does.
  int earlierThreads = 0;

  /// What is missing, as one line for the log; empty when nothing is.
  [[nodiscard]] std::string gaps() const;
};

/// Confines the calling process, before the first byte of a foreign file is read
/// and before it has a second thread:
/// - no new privileges, no capabilities, no core file, no debugger;
/// - limits on memory, open files and file sizes, and the first place when the
///   system runs out of memory;
/// - Landlock: nothing to write, nothing to read but the libraries and their
///   configuration, no TCP, no signals to others;
/// - a filter of system calls, on all threads: what isn't needed fails with EPERM,
///   what no decoder could mean ends the process (SIGSYS).
///
/// Nothing can be written but files in memory: a library that keeps large pictures in
/// temporary files must be told before to keep them in memory, or refuses them.
///
/// What goes on working: threads, open descriptors (`read`, `pread`, `mmap`, `poll`,
/// `sendmsg`, `recvmsg`), files in memory with their seals, also through their path
/// in /proc/self/fd, and loading of system libraries. Whether a file exists, and its
/// size, stays visible. Settings of the process itself, such as the signal at its
/// parent's end, must be made before. There is no way back.
///
/// Goes on without what the kernel lacks, and says so in the report. Throws
/// std::system_error for everything else that fails; the process is then confined
/// in part, and must not decode.
[[nodiscard]] SandboxReport lockIn(const SandboxOptions& options = {});

}  // namespace vaultmere
