#pragma once

#include <atomic>
#include <string>
#include <vector>

namespace kestrova::photo {

/// Throws `Error` of kind file unless a file can be written at `path`: its folder must exist and be writable; what
/// stands there already must be a regular file, writable, or a link to one. Returns the path of the file itself.
std::string checkTarget(const std::string& path);

/// What becomes of a file that stands at the target already.
enum class Existing { replaced, refused };

/// Makes `bytes` the content of the file at `path` in one step: a reader, or whoever looks after a crash, finds the old
/// content or the new. Mode, access list and user attributes of a file that is replaced are kept, and its owner where
/// permitted; a symbolic link stays, and the file that it points to is replaced; other hard links keep the old content.
/// Everything is on the disk when the function returns. Throws `Error` of kind file, or cancelled, or of kind input for
/// an existing file that is refused, even if it appears meanwhile; then the target is as it was and nothing is left
/// beside it.
void replaceFile(const std::string& path, const std::vector<unsigned char>& bytes, const std::atomic<bool>* cancel,
                 Existing existing = Existing::replaced);

}  // namespace kestrova::photo
