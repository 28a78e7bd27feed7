// kelvor-fingerprint: the SHA-256 fingerprint of a host value written as JSON.
//
//     kelvor-fingerprint [--chunks] [FILE]
//
// Reads one value in the JSON value format (tools/value_json/README.md) from
// FILE, or from standard input when FILE is absent or "-", builds the host
// value and feeds its fingerprint stream to SHA-256. Prints the digest in
// hex; with --chunks, prints the stream itself instead, one consumer call per
// line in hex, which is the form the golden vectors keep.
//
// Exit status: 0 on success; 2 for a usage error, unreadable input, bad JSON
// or a value that cannot be built or fingerprinted, with one line on stderr.
#include <cstddef>
#include <cstdio>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <openssl/evp.h>

#include <nlohmann/json.hpp>

#include <hyarray/hyarray.hpp>
#include <kelvor/common/foundation/matrix/fingerprint.hpp>
#include <value_json.hpp>

namespace {

constexpr const char* usage_text = "usage: kelvor-fingerprint [--chunks] [FILE|-]";

// Every failure the tool reports: the text is printed on one line.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string hex(const unsigned char* p, std::size_t n) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string out;
    out.reserve(2 * n);
    for (std::size_t i = 0; i < n; ++i) {
        out += digits[p[i] >> 4];
        out += digits[p[i] & 0xf];
    }
    return out;
}

// SHA-256 through OpenSSL's EVP interface, the context freed on every path.
class Sha256 {
public:
    Sha256() : ctx_(EVP_MD_CTX_new(), &EVP_MD_CTX_free) {
        if (!ctx_ || EVP_DigestInit_ex(ctx_.get(), EVP_sha256(), nullptr) != 1) {
            throw Failure("cannot set up SHA-256");
        }
    }
    void update(const char* p, std::size_t n) {
        if (EVP_DigestUpdate(ctx_.get(), p, n) != 1)
            throw Failure("SHA-256 update failed");
    }
    std::string hex_digest() {
        unsigned char md[EVP_MAX_MD_SIZE];
        unsigned int len = 0;
        if (EVP_DigestFinal_ex(ctx_.get(), md, &len) != 1)
            throw Failure("SHA-256 final failed");
        return hex(md, len);
    }

private:
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> ctx_;
};

struct Options {
    bool chunks = false;
    std::string file = "-";
};

Options parse_options(const std::vector<std::string_view>& args) {
    Options options;
    bool have_file = false;
    for (const std::string_view arg : args) {
        if (arg == "--chunks") {
            options.chunks = true;
        } else if (arg.size() > 1 && arg.front() == '-') {
            throw Failure("unknown option '" + std::string(arg) + "'; " + usage_text);
        } else if (have_file) {
            throw Failure(std::string("more than one input; ") + usage_text);
        } else {
            options.file = arg;
            have_file = true;
        }
    }
    return options;
}

nlohmann::json read_json(const std::string& file) {
    try {
        if (file == "-")
            return nlohmann::json::parse(std::cin);
        std::ifstream in(file, std::ios::binary);
        if (!in)
            throw Failure("cannot open '" + file + "'");
        return nlohmann::json::parse(in);
    } catch (const nlohmann::json::exception& e) {
        throw Failure(std::string("bad JSON: ") + e.what());
    }
}

void run(const Options& options) {
    const matrix::unique_hyarray_ptr value = klf::value_json::to_hyarray(read_json(options.file));
    if (options.chunks) {
        std::string lines;
        std::function<void(const char*, std::size_t)> feed = [&](const char* p, std::size_t n) {
            lines += hex(reinterpret_cast<const unsigned char*>(p), n);
            lines += '\n';
        };
        incorporate_data(feed, value.get());
        std::cout << lines;
    } else {
        Sha256 sha;
        std::function<void(const char*, std::size_t)> feed = [&](const char* p, std::size_t n) {
            sha.update(p, n);
        };
        incorporate_data(feed, value.get());
        std::cout << sha.hex_digest() << '\n';
    }
    std::cout.flush();
    if (!std::cout)
        throw Failure("cannot write the output");
}

// Errors of the core library carry their causes on further lines.
std::string one_line(std::string text) {
    for (char& c : text) {
        if (c == '\n' || c == '\r')
            c = ' ';
    }
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const std::vector<std::string_view> args(argv + 1, argv + argc);
        if (args.size() == 1 && (args[0] == "--help" || args[0] == "-h")) {
            std::cout << usage_text << '\n';
            return 0;
        }
        run(parse_options(args));
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "kelvor-fingerprint: " << one_line(e.what()) << '\n';
    } catch (...) {
        std::cerr << "kelvor-fingerprint: unknown error\n";
    }
    return 2;
}
