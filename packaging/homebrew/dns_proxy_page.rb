# The page on what the proxy does, from the sources of a release. The address and checksum are those of the
# last one: `for_release`, beside this file, fills in another's.
class DnsProxyPage < Formula
  desc "Memory of a local DNS forwarding proxy, and a page to look at it"
  homepage "https://dns-proxy-mac.example/"
  url "https://dns-proxy-mac.example/dns_proxy_mac-1.0.0.tar.gz"
  sha256 "0000000000000000000000000000000000000000000000000000000000000000"
  license :cannot_represent

  depends_on "cli11" => :build
  depends_on "cmake" => :build
  depends_on "nlohmann-json" => :build
  depends_on :macos
  depends_on "sqlite"

  def install
    system "cmake", "-S", ".", "-B", "build", "-DSERVICE_FILES=OFF", "-DCARES_LIBRARY=OFF",
           "-DDNS_PROXY_COMPANION=#{HOMEBREW_PREFIX}/bin/dns_proxy_ctl",
           "-DCMAKE_REQUIRE_FIND_PACKAGE_CLI11=ON", "-DCMAKE_REQUIRE_FIND_PACKAGE_SQLite3=ON",
           "-DCMAKE_REQUIRE_FIND_PACKAGE_nlohmann_json=ON", "-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON",
           "-DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON", *std_cmake_args
    system "cmake", "--build", "build", "--target", "dns_proxy_page"
    system "cmake", "--install", "build", "--component", "page"
  end

  # As root for the folder of its database alone: the program itself runs as a user that owns nothing else.
  service do
    run [opt_libexec/"dns_proxy_mac/start_page"]
    require_root true
    keep_alive true
    process_type :background
    environment_variables COMPANION: "#{HOMEBREW_PREFIX}/bin/dns_proxy_ctl"
    error_log_path "/var/log/Varnok/events"
  end

  def caveats
    <<~EOS
      The page reads the trace that the proxy's service keeps, and shows what dns_proxy_ctl says of it; both
      come with the formula dns_proxy_mac. It is at http://127.0.0.1:5380/ after
        sudo brew services start dns_proxy_page

      What it remembers is in /var/db/dns_proxy_page, which stays when the formula is uninstalled.
    EOS
  end

  test do
    assert_match version.to_s, shell_output("#{sbin}/dns_proxy_page --version")

    # A folder that is not there cannot have its database.
    shell_output("#{sbin}/dns_proxy_page --port 0 --database #{testpath}/none/memory.db 2>&1", 71)
  end
end
