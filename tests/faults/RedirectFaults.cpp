// Servers that send a package's download elsewhere.

#include "PackageFault.h"

namespace {

using namespace Lines;

std::vector<PackageFault> elsewhere() {
    const std::string content = onePackageContent();
    const std::map<std::string, std::string> target = {{"Target.pkg", content}};
    return {
        {"RedirectedThreeTimes",
         {"/One.pkg * moved 301 https://packages.brovik.example/Second.pkg\n"
          "/Second.pkg * moved 302 /Third.pkg\n"
          "/Third.pkg * moved 307 https://scripted.brovik.example/Target.pkg\n",
          {},
          target},
         fetched,
         true,
         content},
        {"RedirectedToPlainHttp",
         {"/One.pkg * moved 302 http://packages.brovik.example/Target.pkg\n", {}, target},
         fetched,
         true,
         content},
        {"RedirectedToWhatIsMissing",
         {"/One.pkg * moved 302 https://packages.brovik.example/Nowhere.pkg\n", {}},
         started + failedWith(404, 0),
         false,
         "no such file\n"},
        {"RedirectedWithoutAPlace", {"/One.pkg * status 302\n", {}}, started + failedWith(302, 0), false, ""},
        {"RedirectedToAHostThatIsNot",
         {"/One.pkg * moved 302 https://nowhere.brovik.example/\n", {}},
         started + failedWith(302, 6),
         false,
         ""},
        {"RedirectedToAPortWithoutServer",
         {"/One.pkg * moved 302 https://packages.brovik.example:1/\n", {}},
         started + failedWith(302, 7),
         false,
         ""},
        {"RedirectedToNoUrl",
         {"/One.pkg * moved 302 https://:x\n", {}},
         started + failedWith(302, 3),
         false,
         ""},
    };
}

std::vector<PackageFault> otherProtocols() {
    const auto to = [](const char *name, const char *address) {
        return PackageFault{name,
                            {std::string("/One.pkg * moved 302 ") + address + "\n", {}},
                            started + failedWith(302, 1),
                            false,
                            ""};
    };
    std::vector<PackageFault> faults = {
        to("RedirectedToAFile", "file:///etc/passwd"),
        to("RedirectedToGopher", "gopher://packages.brovik.example:80/0x"),
        to("RedirectedToDict", "dict://packages.brovik.example:80/x"),
        to("RedirectedToTelnet", "telnet://packages.brovik.example:80"),
        to("RedirectedToTftp", "tftp://packages.brovik.example/x"),
        to("RedirectedToScp", "scp://packages.brovik.example/x"),
        to("RedirectedToLdap", "ldap://packages.brovik.example/x"),
    };
    faults.push_back({"RedirectedToFtp",
                      {"/One.pkg * moved 302 ftp://packages.brovik.example/x\n", {}},
                      started + failedWith(302, 7),
                      false,
                      ""});
    return faults;
}

const bool registered = [] {
    registerPackageFaults(elsewhere());
    registerPackageFaults(otherProtocols(), {updateByHttps});
    // Ended by the bound that libcurl sets to all headers of a transfer.
    registerPackageFaults({{"RedirectedInACircle",
                            {"/One.pkg * moved 302 /One.pkg\n", {}},
                            started + failedWith(302, 56),
                            false,
                            ""}});
    return true;
}();

} // namespace
