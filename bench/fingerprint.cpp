// Fingerprint of a 10-million-element double array against its floor: the
// same consumer called as often, with the same chunks, precomputed. The
// stream makes one consumer call per item, so the calls are the floor and the
// encoding (canonical value, byte order, typed loop) must hide behind them:
// BM_Fingerprint / BM_ConsumerCallsOnly is the figure that matters (goal:
// within 1.1). The SHA-256 pair gives the throughput a real hash reaches.
//
//     bench_fingerprint --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <hyarray/hyarray.hpp>
#include <kelvor/common/foundation/matrix/fingerprint.hpp>

namespace {

using Feed = std::function<void(const char*, std::size_t)>;
constexpr std::size_t kElements = 10'000'000;

// A 10^7 x 1 double array of ordinary values with a few zeros, made once.
const hyArray* values() {
    static const matrix::unique_hyarray_ptr a = [] {
        const std::size_t dims[] = {kElements, 1};
        matrix::unique_hyarray_ptr v =
            matrix::detail::do_create_numeric(dims, hyDOUBLE_CLASS, hyREAL);
        double* d = static_cast<double*>(matrix::data(v.get()));
        for (std::size_t i = 0; i < kElements; ++i) {
            d[i] = i % 1000 == 0 ? 0.0 : static_cast<double>(i) * 0.37 - 1e6;
        }
        return v;
    }();
    return a.get();
}

// The stream of values(), kept as bytes and chunk lengths.
struct Recorded {
    std::vector<char> bytes;
    std::vector<std::size_t> lengths;
};
const Recorded& recorded() {
    static const Recorded r = [] {
        Recorded out;
        out.bytes.reserve(kElements * 8 + 64);
        out.lengths.reserve(kElements * 2 + 8);
        Feed record = [&](const char* p, std::size_t n) {
            out.bytes.insert(out.bytes.end(), p, p + n);
            out.lengths.push_back(n);
        };
        incorporate_data(record, values());
        return out;
    }();
    return r;
}

// The cheap consumer: a running 64-bit mix (FNV-1a) over every byte.
struct Mix {
    std::uint64_t h = 0xcbf29ce484222325;
    void operator()(const char* p, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) {
            h = (h ^ static_cast<unsigned char>(p[i])) * 0x100000001b3;
        }
    }
};

void replay(Feed& feed) {
    const Recorded& r = recorded();
    const char* p = r.bytes.data();
    for (const std::size_t n : r.lengths) {
        feed(p, n);
        p += n;
    }
}

void report(benchmark::State& state) {
    state.SetBytesProcessed(
        static_cast<std::int64_t>(state.iterations() * recorded().bytes.size()));
    state.counters["calls"] = static_cast<double>(recorded().lengths.size());
}

void BM_ConsumerCallsOnly(benchmark::State& state) {
    recorded();
    for (auto _ : state) {
        Mix mix;
        Feed feed = std::ref(mix);
        replay(feed);
        benchmark::DoNotOptimize(mix.h);
    }
    report(state);
}

void BM_Fingerprint(benchmark::State& state) {
    const hyArray* a = values();
    recorded();
    for (auto _ : state) {
        Mix mix;
        Feed feed = std::ref(mix);
        incorporate_data(feed, a);
        benchmark::DoNotOptimize(mix.h);
    }
    report(state);
}

struct Sha256 {
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> ctx{EVP_MD_CTX_new(), &EVP_MD_CTX_free};
    Sha256() {
        if (!ctx || EVP_DigestInit_ex(ctx.get(), EVP_sha256(), nullptr) != 1) {
            throw std::runtime_error("SHA-256 unavailable");
        }
    }
    void operator()(const char* p, std::size_t n) { EVP_DigestUpdate(ctx.get(), p, n); }
    void finish() {
        unsigned char digest[EVP_MAX_MD_SIZE];
        unsigned int size = 0;
        EVP_DigestFinal_ex(ctx.get(), digest, &size);
        benchmark::DoNotOptimize(digest);
    }
};

void BM_Sha256CallsOnly(benchmark::State& state) {
    recorded();
    for (auto _ : state) {
        Sha256 sha;
        Feed feed = std::ref(sha);
        replay(feed);
        sha.finish();
    }
    report(state);
}

void BM_Sha256Fingerprint(benchmark::State& state) {
    const hyArray* a = values();
    recorded();
    for (auto _ : state) {
        Sha256 sha;
        Feed feed = std::ref(sha);
        incorporate_data(feed, a);
        sha.finish();
    }
    report(state);
}

// SHA-256 over the whole stream in one call: what chunking costs a real hash.
void BM_Sha256OneBuffer(benchmark::State& state) {
    const Recorded& r = recorded();
    for (auto _ : state) {
        Sha256 sha;
        sha(r.bytes.data(), r.bytes.size());
        sha.finish();
    }
    report(state);
}

BENCHMARK(BM_ConsumerCallsOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Fingerprint)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Sha256CallsOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Sha256Fingerprint)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Sha256OneBuffer)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
