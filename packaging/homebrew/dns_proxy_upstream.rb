# Servers that always answer, for the proxy to ask, from the sources of a release. The address and checksum
# are those of the last one: `for_release`, beside this file, fills in another's.
class DnsProxyUpstream < Formula
  desc "Servers that always answer, for a local DNS forwarding proxy to ask"
  homepage "https://dns-proxy-mac.example/"
  url "https://dns-proxy-mac.example/dns_proxy_mac-1.0.0.tar.gz"
  sha256 "0000000000000000000000000000000000000000000000000000000000000000"
  license :cannot_represent

  depends_on "cli11" => :build
  depends_on "cmake" => :build
  depends_on "c-ares"
  depends_on :macos

  def install
    system "cmake", "-S", ".", "-B", "build", "-DSERVICE_FILES=OFF",
           "-DCMAKE_REQUIRE_FIND_PACKAGE_CLI11=ON", "-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON",
           "-DCMAKE_DISABLE_FIND_PACKAGE_SQLite3=ON", "-DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON", *std_cmake_args
    system "cmake", "--build", "build", "--target", "dns_proxy_upstream"
    system "cmake", "--install", "build", "--component", "upstream"
  end

  service do
    run [opt_libexec/"dns_proxy_mac/start_upstream"]
    require_root true
    keep_alive true
    process_type :interactive
    error_log_path "/var/log/Varnok/events"
  end

  def caveats
    <<~EOS
      Its service gives lo0 the addresses 127.0.53.1, 127.0.53.2 and 127.0.53.3, and serves port 53 of each,
      which needs root:
        sudo brew services start dns_proxy_upstream

      Have the proxy ask it by these three lines in /var/log/Varnok/dns, in place of the servers there, then
      write the servers that it shall ask, or the word network, into /var/log/Varnok/servers:
        127.0.53.1
        127.0.53.2
        127.0.53.3

      The addresses stay on lo0 until a restart, or until each is taken off:
        sudo ifconfig lo0 -alias 127.0.53.1
    EOS
  end

  test do
    assert_match version.to_s, shell_output("#{sbin}/dns_proxy_upstream --version")
    assert_match "It takes no arguments", shell_output("#{sbin}/dns_proxy_upstream nothing 2>&1", 64)
  end
end
