#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Values/Data.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// A memory file that holds the blocks one after the other and can neither be changed nor resized any more.
// At most kMaxMessageComponents blocks. Any thread.
Result<FileDescriptor> sealedMemoryOf(std::span<const Data> blocks);

// The bytes of a memory file of exactly this size, for as long as the answer is held. The file may come from
// anyone: an error unless it is sealed, since one that shrinks under a reader would kill it. Any thread.
Result<std::shared_ptr<const void>> mapSealedMemory(int descriptor, std::size_t size);

} // namespace kitwell::platform
