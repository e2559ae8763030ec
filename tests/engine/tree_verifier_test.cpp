#include "kit/engine/tree_verifier.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <random>

#include "tests/engine/verified_trees.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

using Texts = std::vector<std::string>;
constexpr auto deep = fs::copy_options::recursive | fs::copy_options::copy_symlinks;

class TreeVerifierTest : public VerifiedTrees {
 protected:
  void makeFifo(const Path& path) const { ASSERT_EQ(::mkfifo((folder_ / path).c_str(), 0600), 0); }

  void makeSocket(const Path& path) const {
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (folder_ / path).native().copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(socket);
  }
};

TEST_F(TreeVerifierTest, NamesEveryKindOfDifferenceInTheOrderOfTheBytes) {
  for (const char* tree : {"one", "two"}) {
    const Path root = tree;
    for (const char* name : {"same", "a/kept", "sub/.fseventsd/x"}) write(root / name);
    fs::create_directories(folder_ / root / "empty");
    fs::create_symlink("same", folder_ / root / "link");
    makeFifo(root / "pipe");
  }
  EXPECT_EQ(differences(), Texts());
  write("one/a!"), write("one/a/b"), write("one/\xF0\x90\x80\x80"), write("two/\xEF\xBF\xBD"), write("two/\xFF");
  write("one/bytes", "1234"), write("two/bytes", "1244"), write("one/grown", "1"), write("two/grown", "12");
  fs::create_symlink("x", folder_ / "one/to"), fs::create_symlink("y", folder_ / "two/to");
  fs::create_symlink("same", folder_ / "one/was-link"), write("two/was-link");
  makeFifo("one/other"), makeSocket("two/other"), makeFifo("one/was-fifo"), write("two/was-fifo");
  fs::create_directory(folder_ / "one/was-folder"), fs::create_symlink("a", folder_ / "two/was-folder");
  write("two/.fseventsd/inside"), write("two/sub/.fseventsd/y");
  EXPECT_EQ(differences({".fseventsd"}),
            (Texts{"a!: missing from copy", "a/b: missing from copy", "bytes: content differs", "grown: size differs",
                   "other: type differs", "sub/.fseventsd/y: extra in copy", "to: link target differs",
                   "was-fifo: type differs", "was-folder: type differs", "was-link: type differs",
                   "\xEF\xBF\xBD: extra in copy", "\xF0\x90\x80\x80: missing from copy", "\xFF: extra in copy"}));
}

TEST_F(TreeVerifierTest, ComparesContentAlone) {
  write("one/file"), write("two/file"), write("one/hole", ""), write("two/hole", std::string(3 << 20, '\0'));
  fs::resize_file(folder_ / "one/hole", 3 << 20);
  fs::permissions(folder_ / "two/file", fs::perms(0711));
  fs::last_write_time(folder_ / "one/file", fs::file_time_type());
  EXPECT_EQ(differences(), Texts()) << "no modes, times or holes";
  write("two/hole", std::string((3 << 20) - 1, '\0') + "x");
  EXPECT_EQ(differences(), Texts{"hole: content differs"}) << "the last of all bytes counts";
}

TEST_F(TreeVerifierTest, ARootMayBeAnything) {
  write("file"), write("same-file");
  EXPECT_TRUE(TreeVerifier::compare(folder_ / "file", folder_ / "same-file", {"file"}).empty());
  const auto mismatches = TreeVerifier::compare(folder_ / "file", folder_ / "one", {});
  ASSERT_EQ(mismatches.size(), 1U);
  EXPECT_EQ(mismatches[0].description(), "(root): type differs");
  const TreeVerifier::Manifest single = TreeVerifier::manifest(folder_ / "file", {});
  EXPECT_EQ(single, (TreeVerifier::Manifest{{"", TreeVerifier::entry(folder_ / "file")}}));
  fs::create_directory_symlink("one", folder_ / "link");
  EXPECT_EQ(TreeVerifier::manifest(folder_ / "link/", {}).at(""), (TreeVerifier::Entry(TreeVerifier::Symlink{"one"})));
  EXPECT_TRUE(TreeVerifier::manifest(folder_ / "one/", {}).empty());
}

TEST_F(TreeVerifierTest, AManifestKeepsTheBytesOfNamesAndTargets) {
  write("one/n\xFE", "abc"), write("one/n\xFF", "");
  fs::create_symlink("to\xFF", folder_ / "one/link");
  makeFifo("one/fifo");
  makeSocket("one/socket");
  const std::string abc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
  const std::string nothing = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
  EXPECT_EQ(TreeVerifier::manifest(folder_ / "one", {}), (TreeVerifier::Manifest{
                                                             {"n\xFE", TreeVerifier::File{3, abc}},
                                                             {"n\xFF", TreeVerifier::File{0, nothing}},
                                                             {"link", TreeVerifier::Symlink{"to\xFF"}},
                                                             {"fifo", TreeVerifier::Other{"fifo"}},
                                                             {"socket", TreeVerifier::Other{"socket"}},
                                                         }));
  EXPECT_EQ(TreeVerifier::digest(folder_ / "one/n\xFE"), abc);
  EXPECT_EQ(TreeVerifier::entry("/dev/null"), TreeVerifier::Entry(TreeVerifier::Other{"character special"}));
}

/// A comparer so plain that it can be trusted: what each path holds, in words.
std::map<std::string, Texts> described(const Path& root) {
  std::map<std::string, Texts> items;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    Texts& text = items[entry.path().lexically_relative(root)];
    if (entry.is_symlink()) {
      text = {"link", "", fs::read_symlink(entry.path())};
    } else if (entry.is_directory()) {
      text = {"folder", "", ""};
    } else {
      std::ifstream file(entry.path());
      text = {"file", std::to_string(entry.file_size()), std::string(std::istreambuf_iterator<char>(file), {})};
    }
  }
  return items;
}

Texts plainDifferences(const Path& one, const Path& two) {
  const auto reference = described(one);
  const auto copy = described(two);
  Texts texts;
  for (const auto& [path, text] : reference) {
    if (!copy.contains(path)) {
      texts.push_back(path + ": missing from copy");
    } else if (const Texts& other = copy.at(path); other != text) {
      const std::string last = text[0] == "link" ? ": link target differs" : ": content differs";
      texts.push_back(path + (other[0] != text[0] ? ": type differs" : other[1] != text[1] ? ": size differs" : last));
    }
  }
  for (const auto& [path, text] : copy) {
    if (!reference.contains(path)) texts.push_back(path + ": extra in copy");
  }
  std::sort(texts.begin(), texts.end(),
            [](const auto& a, const auto& b) { return a.substr(0, a.find(": ")) < b.substr(0, b.find(": ")); });
  return texts;
}

TEST_F(TreeVerifierTest, AgreesWithAPlainComparerOnRandomTrees) {
  const unsigned seed = std::random_device()();
  std::mt19937 random(seed);
  const auto below = [&random](size_t limit) -> size_t { return random() % limit; };
  const auto edit = [&](const Path& tree) {
    const Path path = folder_ / tree / std::string(1, "abc"[below(3)]) / std::string(1, "xyz"[below(3)]);
    const Path target = below(3) == 0 ? path.parent_path() : path;
    std::error_code mayNotExist;
    fs::remove_all(target, mayNotExist);
    if (below(3) == 0) return;
    if (target == path && !fs::is_directory(fs::symlink_status(path.parent_path()))) {
      fs::remove(path.parent_path());
      fs::create_directory(path.parent_path());
    }
    const std::string content(below(3), "uv"[below(2)]);
    const size_t kind = below(4);
    if (kind == 0) fs::create_directory(target);
    if (kind == 1) fs::create_symlink("to" + content, target);
    if (kind > 1) std::ofstream(target) << content;
  };
  for (int round = 0; round < 100; ++round) {
    for (int count = 0; count < 12; ++count) edit("one");
    fs::remove_all(folder_ / "two");
    fs::copy(folder_ / "one", folder_ / "two", deep);
    for (size_t count = below(5); count > 0; --count) edit("two");
    ASSERT_EQ(differences(), plainDifferences(folder_ / "one", folder_ / "two")) << "seed " << seed;
  }
}

}  // namespace
}  // namespace tavrine
