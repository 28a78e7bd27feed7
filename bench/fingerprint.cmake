# The fingerprint benchmark also measures a SHA-256 consumer (OpenSSL EVP).
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
kelvor_add_bench(fingerprint SOURCES fingerprint.cpp LIBS OpenSSL::Crypto)
