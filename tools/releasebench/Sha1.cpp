#include "Sha1.h"

#include <array>
#include <new>

#include <openssl/evp.h>

namespace {

// The library fails for want of memory only.
void must(int result) {
    if (result != 1)
        throw std::bad_alloc();
}

std::string upperCaseHex(const unsigned char *bytes, unsigned count) {
    constexpr const char *digits = "0123456789ABCDEF";
    std::string text;
    for (unsigned i = 0; i < count; ++i) {
        text += digits[bytes[i] >> 4U];
        text += digits[bytes[i] & 0xFU];
    }
    return text;
}

} // namespace

void Sha1::Free::operator()(evp_md_ctx_st *context) const noexcept {
    EVP_MD_CTX_free(context);
}

Sha1::Sha1()
    : m_context(EVP_MD_CTX_new()) {
    must(m_context ? EVP_DigestInit_ex(m_context.get(), EVP_sha1(), nullptr) : 0);
}

void Sha1::add(const void *bytes, std::size_t count) {
    must(EVP_DigestUpdate(m_context.get(), bytes, count));
}

std::string Sha1::hex() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> hash{};
    unsigned length = 0;
    must(EVP_DigestFinal_ex(m_context.get(), hash.data(), &length));
    return upperCaseHex(hash.data(), length);
}
