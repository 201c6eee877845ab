#include "PackageRecords.h"

#include <ctime>
#include <random>
#include <stdexcept>

#include <gtest/gtest.h>

#include "Text.h"

namespace {

ProductInfo product(const std::string &url, const std::string &name, const std::string &hash,
                    const std::string &version) {
    return {url, name, true, hash, version, "1"};
}

HotFixPackageInfo hotFix(const std::string &url, const std::string &hash, const std::string &version,
                         bool repost = false) {
    HotFixPackageInfo info;
    info.url = url;
    info.hash = hash;
    info.productVer = version;
    info.repost = repost;
    return info;
}

std::string folderOf(const PackageRecords &records, const char *url) {
    return records.foldersOf({url}).front();
}

// --- products: a name anywhere in the URL, a file name anywhere in a URL

TEST(ProductRecords, GiveTheHashOfTheFirstNameThatTheUrlContains) {
    PackageRecords records;
    records.setProducts({product("u/1", "suite", "H1", "1"), product("u/2", "antivirus.pkg", "H2", "2"),
                         product("u/3", "anti", "H3", "3")});
    EXPECT_EQ(records.hashOf("https://host/antivirus.pkg"), "H2");
    EXPECT_EQ(records.hashOf("https://host/suite/antivirus.pkg"), "H1");
    EXPECT_EQ(records.hashOf("anti"), "H3");
    EXPECT_EQ(records.hashOf("https://host/other.pkg"), "");
    EXPECT_EQ(records.hashOf(""), "");
}

TEST(ProductRecords, AnEmptyNameIsInEveryUrl) {
    PackageRecords records;
    records.setProducts(
        {product("u", "a", "H1", "1"), product("", "", "H2", "2"), product("u", "b", "H3", "3")});
    EXPECT_EQ(records.hashOf("b"), "H2");
    EXPECT_EQ(records.hashOf("ab"), "H1");
    EXPECT_EQ(records.hashOf(""), "H2");
}

TEST(ProductRecords, OfOneNameTheFirstCounts) {
    PackageRecords records;
    records.setProducts({product("u", "a.pkg", "H1", "1"), product("u", "a.pkg", "H2", "2")});
    EXPECT_EQ(records.hashOf("x/a.pkg"), "H1");
}

TEST(ProductRecords, GiveTheVersionOfTheFirstUrlThatContainsTheFileName) {
    PackageRecords records;
    records.setProducts(
        {product("https://host/aa.pkg", "A", "", "1.0"), product("https://host/a.pkg", "B", "", "2.0")});
    EXPECT_EQ(folderOf(records, "https://other/a.pkg"), "1.0");
    EXPECT_EQ(folderOf(records, "aa.pkg"), "1.0");
    EXPECT_EQ(folderOf(records, "https://other/b.pkg"), "");
    EXPECT_EQ(folderOf(records, "https://other/"), "1.0");
}

// The rules as they are told, one record after the other.
std::string hashByWalking(const std::vector<ProductInfo> &products, const std::string &url) {
    for (const ProductInfo &info : products) {
        if (contains(url, info.name))
            return info.hash;
    }
    return "";
}

std::string folderByWalking(const std::vector<ProductInfo> &products, const std::string &url) {
    for (const ProductInfo &info : products) {
        if (contains(info.url, afterLastSlash(url)))
            return info.version;
    }
    return "";
}

TEST(ProductRecords, AreThoseThatOneFindsByWalking) {
    std::mt19937 random;
    const std::string bytes = "aab/.\xe4\x01";
    const auto text = [&] {
        std::string made;
        for (std::size_t left = random() % 9; left > 0; --left)
            made += bytes[random() % bytes.size()];
        return made;
    };
    for (int round = 0; round < 5'000; ++round) {
        std::vector<ProductInfo> products;
        for (std::size_t left = random() % 8; left > 0; --left)
            products.push_back(
                product(text(), text(), std::to_string(products.size()), "v" + std::to_string(left)));
        const std::vector<std::string> urls{text(), text(), text(), "/" + text() + "/"};
        PackageRecords records;
        records.setProducts(products);
        const std::vector<std::string> folders = records.foldersOf(urls);
        ASSERT_EQ(folders.size(), urls.size());
        for (std::size_t i = 0; i < urls.size(); ++i) {
            ASSERT_EQ(folders[i], folderByWalking(products, urls[i])) << urls[i];
            ASSERT_EQ(records.hashOf(urls[i]), hashByWalking(products, urls[i])) << urls[i];
        }
    }
}

// --- hot-fixes: the whole URL

TEST(HotFixRecords, AreFoundByTheWholeUrlAndTheFirstCounts) {
    PackageRecords records;
    records.setFreshInstallMode(false);
    records.setHotFixes({hotFix("u/a.pkg", "H1", "1.0"), hotFix("u/a.pkg", "H2", "2.0"),
                         hotFix("u/r.pkg", "H3", "3.0", true)});
    EXPECT_EQ(records.hashOf("u/a.pkg"), "H1");
    EXPECT_EQ(folderOf(records, "u/a.pkg"), "1.0");
    EXPECT_EQ(folderOf(records, "u/r.pkg"), "repost/3.0");
    for (const char *unknown : {"", "u/a.pk", "u/a.pkg ", "U/a.pkg", "x/u/a.pkg"}) {
        EXPECT_EQ(records.hashOf(unknown), "");
        EXPECT_EQ(folderOf(records, unknown), "");
    }
}

TEST(PackageRecords, GiveTheDestinationBelowAFolderOrRefuseIt) {
    PackageRecords records;
    records.setFreshInstallMode(false);
    records.setHotFixes(
        {hotFix("https://host/a.pkg", "", "1.0.1.0", true), hotFix("https://host/b.pkg", "", "$(reboot)")});
    EXPECT_EQ(records.destinationOf("https://host/a.pkg", "/folder"), "/folder/repost/1.0.1.0/a.pkg");
    EXPECT_EQ(records.destinationOf("https://host/c.xml", "/folder"), "/folder//c.xml");
    EXPECT_EQ(records.destinationsOf({"https://host/c.pkg", "https://host/a.pkg"}, "/folder"),
              (std::vector<std::string>{"/folder//c.pkg", "/folder/repost/1.0.1.0/a.pkg"}));
    EXPECT_THROW(records.destinationOf("https://host/b.pkg", "/folder"), std::invalid_argument);
    EXPECT_THROW(records.destinationsOf({"https://host/a.pkg", "https://host/b.pkg"}, "/folder"),
                 std::invalid_argument);
}

TEST(PackageRecords, TheModeChoosesTheList) {
    PackageRecords records;
    EXPECT_TRUE(records.isFreshInstallMode());
    records.setProducts({product("u/a.pkg", "a", "product", "1")});
    records.setHotFixes({hotFix("u/a.pkg", "hotfix", "2")});
    EXPECT_EQ(records.hashOf("u/a.pkg"), "product");
    records.setFreshInstallMode(false);
    EXPECT_EQ(records.hashOf("u/a.pkg"), "hotfix");
}

TEST(PackageRecords, ANewListReplacesTheOld) {
    PackageRecords records;
    records.setProducts({product("u", "a", "H1", "1")});
    records.setProducts({});
    EXPECT_EQ(records.hashOf("a"), "");
    EXPECT_EQ(folderOf(records, "u"), "");
}

// A linear search for each would take 10^10 comparisons.
TEST(PackageRecords, AHundredThousandLookUpsInAHundredThousandRecordsAreSoonDone) {
    std::vector<ProductInfo> products;
    std::vector<HotFixPackageInfo> hotFixes;
    for (int i = 0; i < 100000; ++i) {
        const std::string name = "package" + std::to_string(i) + ".pkg";
        products.push_back(product("https://host/" + name, name, name, "1"));
        hotFixes.push_back(hotFix("https://host/" + name, name, "1"));
    }
    PackageRecords records;
    records.setProducts(products);
    records.setHotFixes(hotFixes);
    std::vector<std::string> urls;
    for (const HotFixPackageInfo &info : hotFixes)
        urls.push_back(info.url);
    const std::clock_t begin = std::clock();
    for (const bool isFresh : {true, false}) {
        records.setFreshInstallMode(isFresh);
        for (const HotFixPackageInfo &info : hotFixes)
            ASSERT_EQ(records.hashOf(info.url), info.hash);
        ASSERT_TRUE(records.foldersOf(urls) == std::vector<std::string>(urls.size(), "1"));
    }
    EXPECT_LT((std::clock() - begin) / CLOCKS_PER_SEC, 20);
}

} // namespace
