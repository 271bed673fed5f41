// The web front end as the device runs it: lighttpd under its monitor,
// configured from the agent's settings. Listener changes signal the monitor
// and move the listener; certificates are generated, removed and uploaded
// through the agent, and the front end serves what is installed.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "tests/integration/web_suite.h"

namespace veltrum::test {
namespace {

constexpr auto kFrontEndWait = std::chrono::seconds(20);

class FrontEndTest : public WebSuite {
 public:
  static void SetUpTestSuite() { start_suite(true); }

 protected:
  std::string ssl(const char *name) const { return harness().root() + "/mnt/fastpath/lighttpd/ssl/" + name; }
  std::string upload(const char *name) const { return harness().root() + "/tmp/upload/" + name; }

  // Runs a command line of fixed test text; its standard output.
  static std::string command(const std::string &line) {
    std::string out;
    FILE *p = popen(line.c_str(), "r");
    if (!p) return out;
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, p)) > 0) out.append(buffer, n);
    pclose(p);
    return out;
  }
  static std::string fingerprint_of_file(const std::string &cert) {
    return command("openssl x509 -noout -fingerprint -sha256 -in '" + cert + "' 2>/dev/null");
  }
  // The certificate the front end presents on `port`, as a fingerprint.
  static std::string served_fingerprint(int port) {
    return command("openssl s_client -connect 127.0.0.1:" + std::to_string(port) +
                   " </dev/null 2>/dev/null | openssl x509 -noout -fingerprint -sha256 2>/dev/null");
  }
  // A login through the front end over HTTPS (certificate not verified: it
  // is self-signed).
  bool https_login(int port) {
    std::string body = R"({"login":{"username":"admin","password":"password"}})";
    std::string url = "https://127.0.0.1:" + std::to_string(port) + "/api/v1/login";
    std::string out = command("curl -sk -m 5 -b lhttpdsid=front-end -d '" + body + "' " + url);
    return out.find(R"("status":"success")") != std::string::npos && out.find(R"("token":")") != std::string::npos;
  }
  int cert_mgmt(int operation) {
    return static_cast<int>(
        rc_of(post("https_cert_mgmt", R"({"https_cert_mgmt": {"operation": )" + std::to_string(operation) + "}}")));
  }
  int certstatus() { return static_cast<int>(json_int_at(get("https_cert_mgmt").json().get(), {"https_cert_mgmt", "certstatus"})); }
  HttpResponse upload_cert(int file, const std::string &device_path) {
    return post("https_cert_upld",
                R"({"https_cert_upld": {"file": )" + std::to_string(file) + R"(, "localpath": ")" + device_path + R"("}})");
  }
  // A new key and self-signed certificate in the upload directory.
  void make_pair(const std::string &key, const std::string &cert) {
    command("openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=uploaded -keyout '" + upload(key.c_str()) +
            "' -out '" + upload(cert.c_str()) + "' >/dev/null 2>&1");
    ASSERT_TRUE(std::filesystem::exists(upload(cert.c_str())));
  }
};

TEST_F(FrontEndTest, GeneratedCertificateIsServedOverHttpsAndRemovedAgain) {
  ASSERT_EQ(cert_mgmt(1), 0);
  for (const char *name : {"https_cert.pem", "https_key.key", "https_cert.cer"})
    EXPECT_TRUE(std::filesystem::exists(ssl(name))) << name;
  EXPECT_NE(command("openssl x509 -noout -subject -in '" + ssl("https_cert.pem") + "'").find("subject"), std::string::npos);
  EXPECT_NE(command("openssl rsa -check -noout -in '" + ssl("https_key.key") + "' 2>&1").find("RSA key ok"),
            std::string::npos);
  EXPECT_EQ(certstatus(), 1);
  std::string expected = fingerprint_of_file(ssl("https_cert.pem"));
  ASSERT_FALSE(expected.empty());
  EXPECT_TRUE(wait_until([&] { return served_fingerprint(https_port()) == expected; }, kFrontEndWait));
  EXPECT_TRUE(https_login(https_port()));
  // The run of restgen is what made them.
  EXPECT_NE(harness().program_log().find("restgen"), std::string::npos);

  ASSERT_EQ(cert_mgmt(2), 0);
  for (const char *name : {"https_cert.pem", "https_key.key", "https_cert.cer"})
    EXPECT_FALSE(std::filesystem::exists(ssl(name))) << name;
  HttpResponse r = get("https_cert_mgmt");
  EXPECT_EQ(rc_of(r), -1);
  EXPECT_EQ(json_int_at(r.json().get(), {"https_cert_mgmt", "certstatus"}), 0);

  // The POST answers under the other resource's name; a bad operation fails.
  size_t mark = harness().agent_log_size();
  HttpResponse bad = post("https_cert_mgmt", R"({"https_cert_mgmt": {"operation": 3}})");
  EXPECT_EQ(bad.body.find("https_cert_mgmt"), std::string::npos);
  EXPECT_EQ(rc_of(bad), -1);
  EXPECT_NE(harness().agent_log_since(mark).find("Bad Operation mode(1-2) : 3"), std::string::npos);
  EXPECT_EQ(rc_of(post("https_cert_mgmt", R"({"https_cert_mgmt": {}})")), -99);
}

TEST_F(FrontEndTest, AMismatchedKeyLeavesNoCombinedFileUntilTheMatchingCertificateArrives) {
  ASSERT_EQ(cert_mgmt(1), 0);
  std::string old = fingerprint_of_file(ssl("https_cert.pem"));
  make_pair("new.key", "new.pem");
  std::string fresh = fingerprint_of_file(upload("new.pem"));
  ASSERT_NE(old, fresh);

  ASSERT_EQ(rc_of(upload_cert(2, "/tmp/upload/new.key")), 0);
  EXPECT_FALSE(std::filesystem::exists(upload("new.key")));  // moved into place
  EXPECT_EQ(file_text(ssl("https_key.key")).find("PRIVATE KEY") != std::string::npos, true);
  EXPECT_FALSE(std::filesystem::exists(ssl("https_cert.cer")));
  EXPECT_EQ(certstatus(), 0);

  ASSERT_EQ(rc_of(upload_cert(1, "/tmp/upload/new.pem")), 0);
  ASSERT_TRUE(std::filesystem::exists(ssl("https_cert.cer")));
  std::string combined = file_text(ssl("https_cert.cer"));
  EXPECT_EQ(combined, file_text(ssl("https_key.key")) + file_text(ssl("https_cert.pem")));
  EXPECT_EQ(certstatus(), 1);
  EXPECT_TRUE(wait_until([&] { return served_fingerprint(https_port()) == fresh; }, kFrontEndWait))
      << served_fingerprint(https_port());
}

TEST_F(FrontEndTest, UploadsAreTakenOnlyFromInsideTheUploadDirectory) {
  ASSERT_EQ(cert_mgmt(1), 0);
  std::string key_before = file_text(ssl("https_key.key"));
  // A file outside, a way out through "..", and a link out of the directory.
  std::string secret = harness().root() + "/mnt/fastpath/secret.key";
  command("openssl genrsa -out '" + secret + "' 2048 2>/dev/null");
  ASSERT_TRUE(std::filesystem::exists(secret));
  std::filesystem::create_symlink(secret, upload("link.key"));
  for (const char *path : {"/mnt/fastpath/secret.key", "/tmp/upload/../../mnt/fastpath/secret.key",
                           "/tmp/upload/link.key", "/tmp/upload/missing.key", "/tmp/upload", "tmp/upload/x"}) {
    size_t mark = harness().agent_log_size();
    HttpResponse r = upload_cert(2, path);
    EXPECT_EQ(rc_of(r), -1) << path;
    EXPECT_NE(harness().agent_log_since(mark).find("Upload error : file not found:"), std::string::npos) << path;
  }
  EXPECT_TRUE(std::filesystem::exists(secret));
  EXPECT_EQ(file_text(ssl("https_key.key")), key_before);
  std::filesystem::remove(upload("link.key"));

  // The other refusals of the upload.
  EXPECT_EQ(rc_of(upload_cert(3, "/tmp/upload/x")), -1);
  EXPECT_EQ(rc_of(post("https_cert_upld", R"({"https_cert_upld": {"file": 1, "localpath": 5}})")), -99);
  EXPECT_EQ(rc_of(post("https_cert_upld", R"({"https_cert_upld": {"file": 1}})")), -99);
  // A file that is no certificate is refused and stays where it was.
  std::ofstream(upload("junk.pem")) << "not a certificate\n";
  EXPECT_EQ(rc_of(upload_cert(1, "/tmp/upload/junk.pem")), -1);
  EXPECT_TRUE(std::filesystem::exists(upload("junk.pem")));
  EXPECT_EQ(file_text(ssl("https_key.key")), key_before);
}

TEST_F(FrontEndTest, AListenerChangeMovesTheFrontEndAndASessionLimitDoesNot) {
  // HTTP is served on the suite's port.
  ASSERT_TRUE(wait_until([&] {
    return system(("curl -s -o /dev/null -m 2 http://127.0.0.1:" + std::to_string(http_port()) + "/").c_str()) == 0;
  }, kFrontEndWait));
  ASSERT_EQ(rc_of(post("http_config", settings(R"("softTimeout": 9)"))), 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_EQ(monitor_signals(), 0u);

  ASSERT_EQ(cert_mgmt(1), 0);
  int moved = free_tcp_port();
  ASSERT_EQ(rc_of(post("http_config", settings(R"("httpsPort": )" + std::to_string(moved)))), 0);
  EXPECT_TRUE(wait_until([&] { return monitor_signals() == 1; }, kFrontEndWait));
  EXPECT_TRUE(wait_until([&] { return https_login(moved); }, kFrontEndWait));
  EXPECT_NE(file_text(harness().root() + "/run/lighttpd/listeners").find(":" + std::to_string(moved) + "/"),
            std::string::npos);
}

}  // namespace
}  // namespace veltrum::test
