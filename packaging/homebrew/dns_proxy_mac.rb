# The proxy and its companion from the sources of a release. The address and checksum are those of the
# last one: `for_release`, beside this file, fills in another's.
class DnsProxyMac < Formula
  desc "Local DNS forwarding proxy with a host map"
  homepage "https://dns-proxy-mac.example/"
  url "https://dns-proxy-mac.example/dns_proxy_mac-1.0.0.tar.gz"
  sha256 "0000000000000000000000000000000000000000000000000000000000000000"
  license :cannot_represent

  depends_on "cli11" => :build
  depends_on "cmake" => :build
  depends_on "libidn2"
  depends_on :macos

  def install
    # Homebrew's own service takes the place of the launchd files, which lie outside of its folder. The two
    # programs beside these are formulas of their own.
    system "cmake", "-S", ".", "-B", "build", "-DSERVICE_FILES=OFF", "-DCARES_LIBRARY=OFF",
           "-DCMAKE_REQUIRE_FIND_PACKAGE_CLI11=ON", "-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON",
           "-DCMAKE_DISABLE_FIND_PACKAGE_SQLite3=ON", "-DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON", *std_cmake_args
    system "cmake", "--build", "build"
    system "cmake", "--install", "build"
  end

  service do
    run [opt_libexec/"dns_proxy_mac/start", "proxy"]
    require_root true
    keep_alive true
    process_type :interactive
    environment_variables TRACE_MEGABYTES: "64"
    error_log_path "/var/log/Varnok/events"
  end

  def caveats
    <<~EOS
      Make the two configuration files below /var/log/Varnok, then start the proxy:
        sudo #{opt_libexec}/dns_proxy_mac/create_configuration
        sudo brew services start dns_proxy_mac

      Port 53 of 127.0.0.1 needs root. When the start fails although nobody else serves DNS,
      mDNSResponder holds the port for Internet Sharing: turn that off, or ask
        sudo dns_proxy_ctl status

      mDNSResponder goes on asking the servers of the network settings. To have this Mac ask
      the proxy, name 127.0.0.1 as the only DNS server there, and take it out again before
        brew uninstall dns_proxy_mac

      A query that ends the proxy's intake goes unnoticed unless this runs too, as root:
        dns_proxy_ctl watch
    EOS
  end

  test do
    assert_match version.to_s, shell_output("#{bin}/dns_proxy_ctl --version")

    (testpath/"dns").write "192.0.2.1\n"
    (testpath/"hostmap").write "proxy.example:10.0.0.1\n"
    check = "#{bin}/dns_proxy_ctl check --strict --dns #{testpath}/dns --hostmap #{testpath}/hostmap"
    shell_output(check)
    (testpath/"dns").write "nobody\n"
    shell_output(check, 2)

    # Without root it ends at once: nothing is configured, or the port is not for it.
    assert_match "dnsproxy: dns_size:", pipe_output("#{sbin}/dns_proxy_mac")
  end
end
