// A cancel ends the job that it falls into, whatever that job is doing.
#include "ControllerFixture.h"

namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::Not;

class CancelledJobTest : public ControllerFixture {
protected:
    bool wasAsked(const std::string &method, const std::string &target) const {
        const std::vector<HttpRequest> requests = server.requests();
        return std::any_of(requests.begin(), requests.end(), [&](const HttpRequest &request) {
            return request.method == method && request.target == target;
        });
    }
    void installInBackground() {
        background.run([this] { result = controller.freshInstall(); });
    }
    void expectNothingComplete() {
        EXPECT_FALSE(controller.getDownloadProgressInfo().completed);
        EXPECT_THAT(controller.getDownloadedPackages(), IsEmpty());
        EXPECT_THAT(messages(), Not(Contains(testing::HasSubstr("Updated to plist"))));
    }

    int result = 1;
};

TEST_F(CancelledJobTest, NoPartnerCatalogIsFetchedAfterACancelDuringTheCoreCatalogs) {
    const Offered offered = package("partner.pkg", "1.0.1.0", "content");
    server.serve("/core.xml", "a catalog that never arrives", {answer::stall(5)});
    server.serve("/partner.xml", productCatalog(offered));
    serviceAnswers(replyNaming(server.url(""), {"core"}, {"partner"}));
    installInBackground();
    ASSERT_TRUE(comesTrue([this] { return wasAsked("GET", "/core.xml"); }));
    controller.cancelDownload();
    background.join();
    EXPECT_EQ(result, -1);
    EXPECT_FALSE(wasAsked("GET", "/partner.xml"));
    expectNothingComplete();
}

TEST_F(CancelledJobTest, NoPackageIsFetchedAfterACancelBeforeTheDownloads) {
    const Offered offered = package("late.pkg", "1.0.1.0", "content");
    const Gate gate;
    server.answerHead("/late.pkg", answer::hold(0, gate));
    offerProducts({offered});
    installInBackground();
    ASSERT_TRUE(comesTrue([this] { return wasAsked("HEAD", "/late.pkg"); }));
    controller.cancelDownload();
    gate.open();
    background.join();
    EXPECT_EQ(result, 0);
    EXPECT_FALSE(wasAsked("GET", "/late.pkg"));
    expectNothingComplete();
}

TEST_F(CancelledJobTest, TheNextJobDownloads) {
    const Offered offered = package("late.pkg", "1.0.1.0", "content");
    offerProducts({offered});
    controller.cancelDownload();
    EXPECT_EQ(controller.freshInstall(), 0);
    EXPECT_TRUE(controller.getDownloadProgressInfo().completed);
}

} // namespace
