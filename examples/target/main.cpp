// target --yang DIR --listen HOST:PORT [--tls CERT KEY [--client-ca CA]] [limits]: a gNMI target, see README.md.
#include <arpa/inet.h>
#include <fmt/core.h>
#include <google/protobuf/stubs/logging.h>
#include <grpcpp/ext/proto_server_reflection_plugin.h>
#include <grpcpp/grpcpp.h>

#include <charconv>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "Service.h"

namespace Target {
namespace {

/** How long calls may go on after SIGTERM. */
constexpr std::chrono::seconds drainTime{2};

struct Options {
  std::string yang, listen, certificate, key, clientCa;
  Limits limits;
};

std::vector<std::pair<std::string_view, std::size_t*>> limitOptions(Limits& limits) {
  return {{"--max-message", &limits.messageBytes},
          {"--max-elements", &limits.elements},
          {"--max-keys", &limits.keys},
          {"--max-expansions", &limits.expansions},
          {"--max-answer", &limits.answerBytes},
          {"--max-streams", &limits.streams},
          {"--max-subscriptions", &limits.subscriptions},
          {"--max-queue", &limits.queue},
          {"--shortest-sample", &limits.sampleMilliseconds}};
}

[[noreturn]] void usage(std::string const& problem) {
  std::string text = problem + "\nusage: target --yang DIR --listen HOST:PORT [--tls CERT KEY [--client-ca CA]]";
  Limits defaults;
  for (auto const& [name, value] : limitOptions(defaults)) {
    text += fmt::format(" [{} N ({})]", name, *value);
  }
  throw std::invalid_argument(text);
}

Options readOptions(std::span<char* const> words) {
  Options options;
  auto const limits = limitOptions(options.limits);
  for (auto word = words.begin(); word != words.end(); ++word) {
    std::string_view const name = *word;
    auto const next = [&]() -> std::string {
      return ++word == words.end() ? usage(fmt::format("{}: what should follow is missing", name)), "" : *word;
    };
    if (name == "--yang") {
      options.yang = next();
    } else if (name == "--listen") {
      options.listen = next();
    } else if (name == "--tls") {
      options.certificate = next();
      options.key = next();
    } else if (name == "--client-ca") {
      options.clientCa = next();
    } else if (auto const limit = std::ranges::find(limits, name, [](auto const& row) { return row.first; });
               limit != limits.end()) {
      std::string const number = next();
      auto const read = std::from_chars(number.data(), number.data() + number.size(), *limit->second);
      if (read.ec != std::errc() || read.ptr != number.data() + number.size()) {
        usage(fmt::format("{} takes a number; found '{}'", name, number));
      }
    } else {
      usage(fmt::format("unknown option '{}'", name));
    }
  }
  if (options.yang.empty() || options.listen.empty()) {
    usage("--yang and --listen are needed");
  }
  if (!options.clientCa.empty() && options.certificate.empty()) {
    usage("--client-ca is for --tls");
  }
  return options;
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
  if (options.certificate.empty()) {
    // Whoever can connect can write, so only this machine may.
    std::string const host = options.listen.substr(0, options.listen.rfind(':'));
    if (in_addr address{};
        host != "[::1]" && !(inet_pton(AF_INET, host.c_str(), &address) == 1 && host.starts_with("127."))) {
      throw std::invalid_argument(
          fmt::format("--listen {}: without --tls only 127.0.0.1:PORT and [::1]:PORT are taken", options.listen));
    }
    return grpc::InsecureServerCredentials();
  }
  grpc::SslServerCredentialsOptions tls(options.clientCa.empty()
                                            ? GRPC_SSL_DONT_REQUEST_CLIENT_CERTIFICATE
                                            : GRPC_SSL_REQUEST_AND_REQUIRE_CLIENT_CERTIFICATE_AND_VERIFY);
  tls.pem_key_cert_pairs.push_back({contents(options.key), contents(options.certificate)});
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
  try {
    return Target::serve(Target::readOptions(std::span(words, static_cast<std::size_t>(count)).subspan(1)));
  } catch (std::invalid_argument const& error) {
    std::cerr << "target: " << error.what() << '\n';
    return 2;
  } catch (std::exception const& error) {
    std::cerr << "target: " << error.what() << '\n';
    return 1;
  }
}
