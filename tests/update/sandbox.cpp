#include "sandbox.hpp"

#include <curl/curl.h>
#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include "support/support.hpp"
#include "util/fd.hpp"
#include "util/util.hpp"

namespace mbtest {

namespace {

constexpr const char* kIdentity = "MARLIN_TEST_IDENTITY";
constexpr const char* kFolder = "MARLIN_TEST_SANDBOX";

std::string variable(const char* name) {
    const char* value = ::getenv(name);
    return value ? value : "";
}

void addExtension(X509* certificate, int kind, const char* value) {
    const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
        X509V3_EXT_conf_nid(nullptr, nullptr, kind, value), &X509_EXTENSION_free);
    X509_add_ext(certificate, extension.get(), -1);
}

// A descriptor from which a child reads these bytes.
mbutil::Fd fileWith(const std::string& bytes) {
    mbutil::Fd file(::memfd_create("sandbox", 0));
    EXPECT_EQ(::write(file.value, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    ::lseek(file.value, 0, SEEK_SET);
    return file;
}

std::string trustStore() {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy(curl_easy_init(),
                                                                   &curl_easy_cleanup);
    const char* path = nullptr;
    curl_easy_getinfo(easy.get(), CURLINFO_CAINFO, &path);
    return path ? path : "";
}

// The command in front of this program. Other files stand in for the machine's where it has them.
class Sandbox {
public:
    explicit Sandbox(const std::string& folder)
        : words{"bwrap",
                "--die-with-parent",
                "--unshare-net",
                "--cap-add",
                "CAP_NET_BIND_SERVICE",
                "--dev-bind",
                "/",
                "/",
                "--tmpfs",
                folder,
                "--size",
                "65536",
                "--tmpfs",
                folder + "/full",
                "--tmpfs",
                folder + "/read-only",
                "--remount-ro",
                folder + "/read-only"} {}

    void replace(const std::string& path, const std::string& bytes) {
        const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr),
                                                               &std::free);
        if (!real) return;
        files.push_back(fileWith(bytes));
        words.insert(words.end(),
                     {"--ro-bind-data", std::to_string(files.back().value), real.get()});
    }
    // The exit code; -1 when it could not be started.
    int run(const std::vector<std::string>& command) {
        std::vector<std::string> all = words;
        all.insert(all.end(), command.begin(), command.end());
        std::vector<char*> pointers;
        for (std::string& word : all) pointers.push_back(word.data());
        pointers.push_back(nullptr);
        pid_t pid = -1;
        int status = 0;
        if (::posix_spawnp(&pid, "bwrap", nullptr, nullptr, pointers.data(), environ) != 0)
            return -1;
        if (::waitpid(pid, &status, 0) != pid) return -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    std::vector<std::string> words;
    std::vector<mbutil::Fd> files;  // bubblewrap reads them once
};

// The tests' exit code, or -1 when there is no sandbox to be had.
int runInSandbox(const std::vector<std::string>& command) {
    const TempDir folder;
    const std::string store = trustStore();
    if (!mbutil::fileExists(store) || Sandbox(folder.path()).run({"true"}) != 0) return -1;
    const std::string identity = makeIdentity();
    Sandbox sandbox(folder.path());
    sandbox.replace(store, identity.substr(identity.find("-----BEGIN CERTIFICATE")));
    sandbox.replace("/etc/resolv.conf", "nameserver 127.0.0.1\noptions timeout:30 attempts:5\n");
    sandbox.replace("/etc/nsswitch.conf", "hosts: files dns\n");
    ::setenv(kIdentity, identity.c_str(), 1);
    ::setenv(kFolder, folder.path().c_str(), 1);
    ::setenv("TMPDIR", folder.path().c_str(), 1);
    return sandbox.run(command);
}

}  // namespace

void SandboxTest::SetUp() {
    if (variable(kFolder).empty())
        GTEST_SKIP() << "bubblewrap is missing or may not make a sandbox on this machine";
}

std::string trustedIdentity() { return variable(kIdentity); }

std::string makeIdentity() {
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"),
                                                                  &EVP_PKEY_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), &X509_free);
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 86400);
    X509_set_pubkey(certificate.get(), key.get());
    X509_NAME* name = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("update test"), -1, -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    addExtension(certificate.get(), NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1");
    X509_sign(certificate.get(), key.get(), EVP_sha256());
    const std::unique_ptr<BIO, decltype(&BIO_free_all)> text(BIO_new(BIO_s_mem()), &BIO_free_all);
    PEM_write_bio_PrivateKey(text.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    PEM_write_bio_X509(text.get(), certificate.get());
    char* bytes = nullptr;
    const long length = BIO_get_mem_data(text.get(), &bytes);
    return {bytes, static_cast<size_t>(length)};
}

std::string fullFolder() { return variable(kFolder) + "/full"; }
std::string readOnlyFolder() { return variable(kFolder) + "/read-only"; }

}  // namespace mbtest

int main(int argc, char** argv) {
    const std::vector<std::string> command(argv, argv + argc);
    testing::InitGoogleTest(&argc, argv);
    ::signal(SIGPIPE, SIG_IGN);
    if (mbtest::variable(mbtest::kFolder).empty() && !testing::GTEST_FLAG(list_tests)) {
        const int code = mbtest::runInSandbox(command);
        if (code >= 0) return code;
    }
    return RUN_ALL_TESTS();
}
