#include "CertificateCheck.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string_view>

#include <curl/curl.h>
#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include "CurlEasy.h"
#include "HttpAsk.h"

namespace {

struct FreeBio {
    void operator()(BIO *bio) const noexcept { BIO_free(bio); }
};
using Bio = std::unique_ptr<BIO, FreeBio>;
struct FreeCertificate {
    void operator()(X509 *certificate) const noexcept { X509_free(certificate); }
};
using Certificate = std::unique_ptr<X509, FreeCertificate>;
struct FreeNames {
    void operator()(GENERAL_NAMES *names) const noexcept { GENERAL_NAMES_free(names); }
};

struct Meeting {
    int result = 0;
    std::string failure;
    Certificate certificate; // null where none was shown
};

Certificate certificateOf(const std::string &pem) {
    const Bio bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    return Certificate(bio ? PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr) : nullptr);
}

// The server's own, which comes first in the chain.
Certificate shownCertificate(const CurlEasy &curl) {
    constexpr std::string_view before = "Cert:";
    curl_certinfo *chain = nullptr;
    if (curl_easy_getinfo(curl.get(), CURLINFO_CERTINFO, &chain) != CURLE_OK || chain == nullptr ||
        chain->num_of_certs < 1)
        return nullptr;
    for (const curl_slist *line = chain->certinfo[0]; line != nullptr; line = line->next) {
        const std::string_view text = line->data;
        if (text.substr(0, before.size()) == before)
            return certificateOf(std::string(text.substr(before.size())));
    }
    return nullptr;
}

Meeting meet(const std::string &server, const AskingTime &time, bool isChecked) {
    std::array<char, CURL_ERROR_SIZE> details{};
    const CurlEasy curl = makeCurlEasy();
    if (!curl)
        return {CURLE_FAILED_INIT, "libcurl gives no handle", nullptr};
    CURLcode result = CURLE_OK;
    const auto set = [&](CURLoption option, auto value) {
        if (result == CURLE_OK)
            result = curl_easy_setopt(curl.get(), option, value);
    };
    set(CURLOPT_URL, server.c_str());
    set(CURLOPT_CONNECT_ONLY, 1L);
    set(CURLOPT_CERTINFO, 1L);
    set(CURLOPT_ERRORBUFFER, details.data());
    set(CURLOPT_TIMEOUT_MS, std::min(millisecondsLeft(time), static_cast<long>(time.each.count()) * 1000L));
    if (!isChecked) {
        set(CURLOPT_SSL_VERIFYPEER, 0L);
        set(CURLOPT_SSL_VERIFYHOST, 0L);
    }
    if (result == CURLE_OK)
        result = static_cast<CURLcode>(performTransfer(curl));
    return {result, result == CURLE_OK ? "" : failureText(result, details.data()), shownCertificate(curl)};
}

std::string textOf(const X509_NAME *name) {
    const Bio bio(BIO_new(BIO_s_mem()));
    if (!bio || X509_NAME_print_ex(bio.get(), name, 0, XN_FLAG_ONELINE & ~ASN1_STRFLGS_ESC_MSB) < 0)
        return "?";
    char *text = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

std::string textOf(const ASN1_TIME *time) {
    std::tm when{};
    std::array<char, sizeof "2026-11-22"> text{};
    if (ASN1_TIME_to_tm(time, &when) != 1 || std::strftime(text.data(), text.size(), "%F", &when) == 0)
        return "?";
    return text.data();
}

std::string hostsOf(const X509 *certificate) {
    const std::unique_ptr<GENERAL_NAMES, FreeNames> names(
        static_cast<GENERAL_NAMES *>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
    std::string text;
    for (int i = 0; names && i < sk_GENERAL_NAME_num(names.get()); ++i) {
        const GENERAL_NAME *name = sk_GENERAL_NAME_value(names.get(), i);
        if (name->type == GEN_DNS)
            text += (text.empty() ? "" : ", ") +
                    std::string(reinterpret_cast<const char *>(ASN1_STRING_get0_data(name->d.dNSName)),
                                static_cast<std::size_t>(ASN1_STRING_length(name->d.dNSName)));
    }
    return text.empty() ? "no host" : text;
}

// None when the certificate does not tell it.
std::optional<int> daysLeft(const X509 *certificate) {
    int days = 0;
    int seconds = 0;
    if (ASN1_TIME_diff(&days, &seconds, nullptr, X509_get0_notAfter(certificate)) != 1)
        return std::nullopt;
    return days;
}

void describe(const X509 *certificate, ServerCheck &check) {
    check.facts.push_back("of " + textOf(X509_get_subject_name(certificate)));
    check.facts.push_back("for " + hostsOf(certificate));
    check.facts.push_back("by " + textOf(X509_get_issuer_name(certificate)));
    check.facts.push_back("from " + textOf(X509_get0_notBefore(certificate)) + " to " +
                          textOf(X509_get0_notAfter(certificate)));
    if (const auto days = daysLeft(certificate))
        check.facts.push_back(std::to_string(*days) + " days left");
}

} // namespace

ServerCheck checkCertificate(const std::string &server, const AskingTime &time) {
    ServerCheck check{"certificate", server, {}, {}};
    const Meeting checked = meet(server, time, true);
    if (checked.result == CURLE_OK) {
        if (checked.certificate) {
            describe(checked.certificate.get(), check);
            const auto days = daysLeft(checked.certificate.get());
            if (days && *days < fewDaysLeft)
                check.find("certificate-ends", "valid for " + std::to_string(*days) + " days more");
        }
        check.facts.emplace_back("trusted");
        return check;
    }
    const bool isRefused = checked.result == CURLE_PEER_FAILED_VERIFICATION;
    check.find(isRefused ? "certificate" : "unreachable", checked.failure);
    if (!isRefused)
        return check;
    const Meeting unchecked = meet(server, time, false);
    if (unchecked.certificate)
        describe(unchecked.certificate.get(), check);
    return check;
}
