/// qlmanage: empties the desktop's cache of file previews.

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/programs/qlmanage/thumbnail_cache.h"

namespace tavrine {
namespace {

constexpr const char* usage =
    R"(usage: qlmanage -r cache

Empties the desktop's thumbnail cache: $XDG_CACHE_HOME/thumbnails, else ~/.cache/thumbnails. Files are removed, folders
stay, links are not followed and mounted file systems not entered.

Exit status: 0 when the cache is empty; 1 when something could not be removed, each in a line on standard error; 2 for
other arguments.
)";

/// `path` on one line, whatever is in it.
std::string lineText(const Path& path) {
  std::string text = path.string();
  for (char& byte : text) {
    if ((byte >= 0 && byte < ' ') || byte == '\x7f') byte = '?';
  }
  return text;
}

/// Where even standard error cannot be written to, the exit status has to do.
void complain(const std::string& message) {
  (void)std::fprintf(stderr, "qlmanage: %s\n", message.c_str());
}

int run(const std::vector<std::string>& arguments) {
  if (arguments == std::vector<std::string>{"--help"}) {
    return std::fputs(usage, stdout) >= 0 && std::fflush(stdout) == 0 ? 0 : 1;
  }
  if (arguments != std::vector<std::string>{"-r", "cache"}) {
    complain("the only arguments are -r cache; qlmanage --help tells more");
    return 2;
  }
  const auto cache = thumbnailCache();
  if (!cache) {
    complain("no home folder, so no cache");
    return 1;
  }
  int status = 0;
  emptyCache(*cache, [&status](const Path& path, std::string_view reason) {
    complain(lineText(path) + ": " + std::string(reason));
    status = 1;
  });
  return status;
}

}  // namespace
}  // namespace tavrine

int main(int argc, char** argv) {
  return tavrine::run(std::vector<std::string>(argv + 1, argv + argc));
}
