#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

// The extended attributes of an open file or folder. What fails is told by errno.

/// The names; nothing where they cannot be listed. None where the file system keeps none.
std::optional<std::vector<std::string>> attributeNames(int file);

/// The value; nothing where it cannot be read.
std::optional<std::string> attributeValue(int file, const std::string& name);

bool setAttribute(int file, const std::string& name, std::string_view value);

/// Whether the attribute is gone; one that is not there, or cannot be there, is.
bool removeAttribute(int file, const std::string& name);

/// Whether `name` is one of the access-control lists.
bool isAccessControlList(std::string_view name);

/// Whether a file's owner gave it the attribute `name`: not the labels and signatures that the system gives each file
/// by itself, nor what a file system shows of its own data.
bool isGivenByOwner(std::string_view name);

}  // namespace tavrine
