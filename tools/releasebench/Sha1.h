#pragma once

#include <cstddef>
#include <memory>
#include <string>

struct evp_md_ctx_st;

// A SHA-1 while its bytes come in. Throws std::bad_alloc when there is no memory for it.
class Sha1 {
public:
    Sha1();

    void add(const void *bytes, std::size_t count);
    // In upper-case hex, as the engine compares it. To be called once, in the end.
    std::string hex();

private:
    struct Free {
        void operator()(evp_md_ctx_st *context) const noexcept;
    };

    std::unique_ptr<evp_md_ctx_st, Free> m_context;
};
