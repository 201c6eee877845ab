#include <regex>

#include "LintCase.h"

namespace {

using Change = std::function<std::string(const std::string &)>;

// The first one of what fits an expression.
Change with(const std::string &expression, const std::string &replacement) {
    return [=](const std::string &text) {
        return std::regex_replace(text, std::regex(expression), replacement,
                                  std::regex_constants::format_first_only);
    };
}

Change withFileName(const std::string &name) {
    return with("platform\\.pkg</url>", name + "</url>");
}

std::string attributes(int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += " a" + std::to_string(i) + "=\"\"";
    return text;
}

std::string inLowerCase(const std::string &text) {
    const std::string begin = "<hash>";
    std::string changed = text;
    for (std::size_t i = text.find(begin) + begin.size(); text[i] != '<'; ++i)
        changed[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
    return changed;
}

} // namespace

std::vector<LintCatalogCase> catalogCases() {
    return {
        {"NoXml",
         {"catalog-no-xml"},
         [](const std::string &text) { return text.substr(0, text.size() / 2); }},
        {"TooManyAttributes", {"catalog-beyond-bounds"}, with("<manifest", "<manifest" + attributes(300))},
        {
            "AnotherRoot",
            {"catalog-root"},
            [](const std::string &text) {
                return std::regex_replace(text, std::regex("product_catalog"), "plist");
            },
        },
        {"Namespace",
         {"catalog-namespace"},
         with("<product_catalog", "<product_catalog xmlns=\"urn:brovik\"")},
        {"NamespaceOfAHotFix",
         {"catalog-namespace"},
         with("<hf_package>([^]*?)</hf_package>", "<x:hf_package xmlns:x=\"urn:brovik\">$1</x:hf_package>")},
        {"NamespaceOfAValue",
         {},
         with("<minver>(.*)</minver>", "<x:minver xmlns:x=\"urn:brovik\">$1</x:minver>")},
        {"MisspeltLowerBound", {"element-misspelt"}, with("<minver>(.*)</minver>", "<min_ver>$1</min_ver>")},
        {"MisspeltVersion",
         {"element-misspelt", "version-missing"},
         with("<product_ver>(.*)</product_ver>", "<productver>$1</productver>")},
        {"VersionInCapitals",
         {"element-misspelt", "version-missing"},
         with("<product_ver>(.*)</product_ver>", "<Product_Ver>$1</Product_Ver>")},
        {"BuildOfAHotFixInTheConfiguration",
         {"element-misplaced"},
         with("</configuration>", "<buildno>5</buildno></configuration>")},
        {"Remark", {"element-unknown"}, with("</hf_package>", "<remark>x</remark></hf_package>")},
        {"LowerBoundTwice", {"element-twice"}, with("<minver>", "<minver>1.0.0.0</minver><minver>")},
        {"VersionTwice",
         {"element-twice", "fullinstall-version"},
         with("<version>", "<version>1</version><version>")},
        {"HotFixWithAnAttribute", {"attribute-unread"}, with("<hf_package>", "<hf_package id=\"1\">")},
        {"MarkupInAName", {"text-unread"}, with("<name>", "<name><b>x</b>")},
        {"CommentBeforeAVersion",
         {"fullinstall-version", "text-unread"},
         with("<version>", "<version><!-- new -->")},
        {"MarkedSectionBetweenElements", {}, with("<hf_package>", "<hf_package><![CDATA[new]]>")},
        {"RepostInLowerCase", {"repost-not-yes"}, with(">YES<", ">yes<")},
        {"UrlMissing", {"url-missing"}, with("<url>.*</url>", "")},
        {"UrlOfAFolder", {"url-no-file-name"}, withFileName("")},
        {"NoPackage", {"url-no-package"}, withFileName("platform.zip")},
        {"ShellCharacter", {"destination-refused"}, withFileName("platform;.pkg")},
        {"BlankInAFileName", {"destination-blank"}, withFileName("plat form.pkg")},
        {"PatternInAFileName", {"destination-pattern"}, withFileName("plat*.pkg")},
        {"LongFileName", {"destination-long"}, withFileName(std::string(256, 'x') + ".pkg")},
        {"RepostInAFileName", {"repost-by-path"}, withFileName("platform-repost.pkg")},
        {"Branding", {"branding-package"}, withFileName("DynamicBranding.pkg")},
        {"NoHash", {"hash-missing"}, with("<hash>.*</hash>", "")},
        {"HashOfLetters", {"hash-form"}, with("<hash>.", "<hash>Z")},
        {"HashInLowerCase", {"hash-lower-case"}, inLowerCase},
        {"SizeInWords", {"size-no-number"}, with("<size>.*</size>", "<size>many</size>")},
        {"NoName", {"fullinstall-name-missing"}, with(" name=\"suite.pkg\"", "")},
        {"NoServerPackage", {"fullinstall-missing"}, with("<server_package .*/>", "")},
        {"BrandingWithoutPackage",
         {"branding-build-missing"},
         with("<server_package .*/>", ""),
         "dynamicbranding_maccat.xml"},
        {"BrandingBuildElsewhere",
         {"branding-build-unread"},
         with("</configuration>", "<cbrmsbuildno>5</cbrmsbuildno></configuration>")},
    };
}
