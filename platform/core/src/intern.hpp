// Process-wide interning tables: each distinct value is stored once and never
// freed, so handles to it can be plain pointers that stay valid until exit,
// also while other statics are being destroyed.
// Internal to the core library.
#pragma once

#include <array>
#include <cstddef>
#include <mutex>
#include <shared_mutex>

#include <boost/unordered/unordered_flat_set.hpp>

namespace klf::detail {

/// A set of interned pointers split into shards, each under its own
/// reader-writer lock: look-ups of values already stored (the common case)
/// share a lock and rarely meet each other. Hash and Eq must be transparent
/// and accept both the stored pointer and the probe type.
template <class Ptr, class Hash, class Eq, std::size_t Shards = 16>
class InternTable {
public:
    /// The stored pointer equal to `probe` (whose hash is `hash`), storing
    /// `make()` first when there is none.
    template <class Probe, class Make>
    Ptr intern(const Probe& probe, std::size_t hash, Make make) {
        // The set uses the low bits of the hash; shards take the high ones.
        Shard& shard = shards_[(hash >> 56) % Shards];
        {
            std::shared_lock lock(shard.mutex);
            if (auto it = shard.set.find(probe); it != shard.set.end()) {
                return *it;
            }
        }
        std::unique_lock lock(shard.mutex);
        if (auto it = shard.set.find(probe); it != shard.set.end()) {
            return *it;
        }
        Ptr made = make();
        shard.set.insert(made);
        return made;
    }

private:
    struct Shard {
        std::shared_mutex mutex;
        boost::unordered_flat_set<Ptr, Hash, Eq> set;
    };
    std::array<Shard, Shards> shards_;
};

}  // namespace klf::detail
