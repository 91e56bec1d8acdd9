// target --yang DIR --listen HOST:PORT [--tls CERT KEY [--client-ca CA]] [limits]: a gNMI target, see README.md.
#include <arpa/inet.h>
#include <fmt/core.h>
#include <google/protobuf/stubs/logging.h>
#include <grpcpp/ext/proto_server_reflection_plugin.h>
#include <grpcpp/grpcpp.h>
#include <CLI/CLI.hpp>

#include <chrono>
#include <csignal>
#include <fstream>
#include <initializer_list>
#include <iostream>
#include <iterator>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "Service.h"

namespace Target {
namespace {

/** How long calls may go on after SIGTERM. */
constexpr std::chrono::seconds drainTime{2};

struct Options {
  std::string yang, listen, clientCa;
  /** Certificate and key. */
  std::vector<std::string> tls;
  Limits limits;
};

void declare(CLI::App& app, Options& options) {
  app.add_option("--yang", options.yang, "folder of YANG modules: all of them are the schema")->required();
  app.add_option("--listen", options.listen, "HOST:PORT; without --tls one of this machine alone")->required();
  auto* const tls = app.add_option("--tls", options.tls, "CERT KEY: files in PEM form")->expected(2);
  app.add_option("--client-ca", options.clientCa, "file: who signs the certificates that clients need")->needs(tls);
  Limits& limits = options.limits;
  for (auto const& [name, limit, meaning] : std::initializer_list<std::tuple<char const*, std::size_t*, char const*>>{
           {"--max-message", &limits.messageBytes, "bytes of a request"},
           {"--max-elements", &limits.elements, "elements of a path with its prefix"},
           {"--max-keys", &limits.keys, "keys of a path with its prefix"},
           {"--max-expansions", &limits.expansions, "nodes of the schema that the wildcards of a request mean"},
           {"--max-entries", &limits.entries, "entries of lists that a request looks at"},
           {"--max-answer", &limits.answerBytes, "bytes of what a Get answers"},
           {"--max-calls", &limits.calls, "calls of a connection at once: more wait in the client"},
           {"--max-connection-streams", &limits.connectionStreams, "streams of a connection"},
           {"--max-streams", &limits.streams, "streams of all clients"},
           {"--max-subscriptions", &limits.subscriptions, "subscriptions of a stream"},
           {"--max-queue", &limits.queue, "changes that wait for a slow subscriber"},
           {"--shortest-sample", &limits.sampleMilliseconds, "milliseconds between two samples, at least"}}) {
    app.add_option(name, *limit, meaning)->capture_default_str()->check(CLI::Range(1, std::numeric_limits<int>::max()));
  }
}

std::string contents(std::string const& file) {
  std::ifstream stream(file, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(stream), {}};
  if (!stream.good() && text.empty()) {
    throw std::runtime_error(fmt::format("{}: cannot be read", file));
  }
  return text;
}

std::shared_ptr<grpc::ServerCredentials> credentials(Options const& options) {
  if (options.tls.empty()) {
    // Whoever can connect can write, so only this machine may.
    std::string const host = options.listen.substr(0, options.listen.rfind(':'));
    if (in_addr address{};
        host != "[::1]" && !(inet_pton(AF_INET, host.c_str(), &address) == 1 && host.starts_with("127."))) {
      throw std::runtime_error(
          fmt::format("--listen {}: without --tls only 127.0.0.1:PORT and [::1]:PORT are taken", options.listen));
    }
    return grpc::InsecureServerCredentials();
  }
  grpc::SslServerCredentialsOptions tls(options.clientCa.empty()
                                            ? GRPC_SSL_DONT_REQUEST_CLIENT_CERTIFICATE
                                            : GRPC_SSL_REQUEST_AND_REQUIRE_CLIENT_CERTIFICATE_AND_VERIFY);
  tls.pem_key_cert_pairs.push_back({contents(options.tls[1]), contents(options.tls[0])});
  if (!options.clientCa.empty()) {
    tls.pem_root_certs = contents(options.clientCa);
  }
  return grpc::SslServerCredentials(tls);
}

int serve(Options const& options) {
  // Blocked in every thread from here on, and waited for below.
  sigset_t endings;
  sigemptyset(&endings);
  sigaddset(&endings, SIGTERM);
  sigaddset(&endings, SIGINT);
  pthread_sigmask(SIG_BLOCK, &endings, nullptr);

  // Or else each message that is no message would add a line.
  google::protobuf::SetLogHandler(nullptr);

  Schema const schema(options.yang);
  for (std::string const& warning : schema.warnings()) {
    std::cerr << warning << '\n';
  }
  Service service(schema, options.limits);
  grpc::reflection::InitProtoReflectionServerBuilderPlugin();
  grpc::ServerBuilder builder;
  int port = 0;
  builder.AddListeningPort(options.listen, credentials(options), &port);
  builder.SetMaxReceiveMessageSize(static_cast<int>(options.limits.messageBytes));
  builder.AddChannelArgument(GRPC_ARG_MAX_CONCURRENT_STREAMS, static_cast<int>(options.limits.calls));
  // No second target on the same port.
  builder.AddChannelArgument(GRPC_ARG_ALLOW_REUSEPORT, 0);
  builder.RegisterService(&service);
  std::unique_ptr<grpc::Server> const server = builder.BuildAndStart();
  if (server == nullptr || port == 0) {
    throw std::runtime_error(fmt::format("cannot listen on {}", options.listen));
  }
  std::cout << "listening on port " << port << std::endl;

  int signal = 0;
  sigwait(&endings, &signal);
  service.drain();
  server->Shutdown(std::chrono::system_clock::now() + drainTime);
  return 0;
}

}  // namespace
}  // namespace Target

int main(int count, char** words) {
  CLI::App app("A gNMI target: see README.md.", "target");
  Target::Options options;
  Target::declare(app, options);
  CLI11_PARSE(app, count, words);
  try {
    return Target::serve(options);
  } catch (std::exception const& error) {
    std::cerr << "target: " << error.what() << '\n';
    return 1;
  }
}
