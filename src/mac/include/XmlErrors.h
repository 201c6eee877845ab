#pragma once

struct _xmlXPathContext;

// Takes libxml2's messages of this thread while it lives: they are kept off standard error, and a call that
// ran out of memory is noted, since many do not tell it by their result. libxml2 has this handler per thread,
// so other threads keep theirs; what stood there before comes back.
class XmlErrors {
public:
    // Throws std::bad_alloc on a thread that libxml2 has no memory for.
    XmlErrors();
    ~XmlErrors();
    XmlErrors(const XmlErrors &) = delete;
    XmlErrors &operator=(const XmlErrors &) = delete;

    bool ranOutOfMemory() const noexcept { return m_ranOutOfMemory; }
    // A text was longer than libxml2 takes.
    bool metLimit() const noexcept { return m_metLimit; }
    // Throws std::bad_alloc when it did.
    void throwWithoutMemory() const;

protected:
    // libxml2's handler of an error; its releases differ in whether the error is constant.
    template <typename Error>
    static void note(void *errors, Error *error) noexcept;

private:
    static void ignore(void *context, const char *message, ...) noexcept;

    void (*m_genericHandler)(void *, const char *, ...);
    void *m_genericContext;
    void (*m_structuredHandler)();
    void *m_structuredContext;
    bool m_ranOutOfMemory = false;
    bool m_metLimit = false;
};

// The same with the errors of one XPath context, which go to that alone.
class XmlXPathErrors : public XmlErrors {
public:
    explicit XmlXPathErrors(_xmlXPathContext &context);
    ~XmlXPathErrors();
    XmlXPathErrors(const XmlXPathErrors &) = delete;
    XmlXPathErrors &operator=(const XmlXPathErrors &) = delete;

private:
    _xmlXPathContext &m_context;
};
