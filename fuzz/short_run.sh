#!/bin/sh
# short_run.sh SOURCE_DIR BUILD_DIR FUZZER SECONDS [SEED]: builds one fuzzer with clang and lets it run that long from its corpus, from the
# same first seed each time unless one is given (0: a new one).
# Exit 77 (skipped) where clang or its fuzzer library is missing.
set -eu
source_dir=$1 build_dir=$2 fuzzer=$3 seconds=$4 seed=${5:-1}
flags="-g -O1 -fsanitize=address,undefined -fno-sanitize-recover=all -fsanitize=fuzzer-no-link"

clang=$(command -v clang++ || true)
if [ -z "$clang" ]; then
  echo "skipped: clang++ is not installed"
  exit 77
fi
probe=$(mktemp -d)
trap 'rm -rf "$probe"' EXIT
echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }' >"$probe/probe.cpp"
if ! "$clang" -fsanitize=fuzzer,address "$probe/probe.cpp" -o "$probe/probe" >"$probe/log" 2>&1; then
  echo "skipped: clang++ is here without its fuzzer library (package libclang-rt-dev of its version)"
  exit 77
fi

cmake -S "$source_dir" -B "$build_dir" -G Ninja -DTAVRINE_FUZZ=ON -DCMAKE_CXX_COMPILER="$clang" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$build_dir" --target "$fuzzer"
mkdir "$probe/corpus"
cp "$source_dir/fuzz/corpus/$fuzzer"/* "$probe/corpus"
# A crash must not exit by the number that means skipped, as it would by itself.
"$build_dir/fuzz/$fuzzer" -seed="$seed" -max_total_time="$seconds" -timeout=10 -max_len=4096 -dict="$source_dir/fuzz/fuzzer.dict" \
  -artifact_prefix="$build_dir/$fuzzer-" -error_exitcode=1 -print_final_stats=1 "$probe/corpus" >"$probe/out" 2>&1 && status=0 || status=$?
tail -n 60 "$probe/out"
exit "$status"
