# ruby homebrew_stand_in.rb FORMULA BUILD_FOLDER VERSION: what Homebrew does with a formula, as far as a
# formula can notice. Prints as JSON what it declares and which commands its installation runs, and then
# runs its `test do` for real, on the programs in BUILD_FOLDER; a failed assertion ends this with a status.
require "json"
require "open3"
require "pathname"
require "tmpdir"

HOMEBREW_PREFIX = "/opt/homebrew".freeze
SCRATCH = Pathname.new(Dir.mktmpdir("dns_proxy_mac-"))
at_exit { SCRATCH.rmtree }

# Records each word of a `service do` block.
class ServiceWords < BasicObject
  attr_reader :words

  def initialize(formula)
    @formula = formula
    @words = {}
  end

  def opt_libexec = @formula.opt_libexec

  def method_missing(name, *values, **options)
    @words[name] = options.empty? ? values.first : options
  end

  def respond_to_missing?(*) = true
end

class Formula
  DECLARED = { "depends_on" => [] }

  class << self
    attr_reader :service_block, :test_block, :loaded

    def inherited(formula)
      super
      @loaded = formula
    end

    %w[desc homepage url sha256 license].each do |word|
      define_method(word) { |value = nil| DECLARED[word] = value }
    end

    def depends_on(what) = DECLARED["depends_on"] << (what.is_a?(Hash) ? what.to_a.flatten : [what])
    def service(&block) = @service_block = block
    def test(&block) = @test_block = block
  end

  attr_reader :version, :commands

  def initialize(build_folder, version)
    @build_folder = Pathname.new(build_folder)
    @version = version
    @commands = []
  end

  def bin = @build_folder
  def sbin = @build_folder
  def name = self.class.name.gsub(/(?<=.)(?=[A-Z])/, "_").downcase
  def opt_libexec = Pathname.new("#{HOMEBREW_PREFIX}/opt/#{name}/libexec")
  def testpath = SCRATCH
  def std_cmake_args = ["-DCMAKE_INSTALL_PREFIX=#{HOMEBREW_PREFIX}/Cellar/#{name}/#{version}"]
  def system(*command) = @commands << command.map(&:to_s)

  def shell_output(command, status = 0)
    said, ended = Open3.capture2e(command)
    raise "#{command}: status #{ended.exitstatus}, not #{status}: #{said}" unless ended.exitstatus == status

    said
  end

  def pipe_output(command) = Open3.capture2e(command).first

  def assert_match(pattern, text)
    raise "#{pattern.inspect} is not in #{text.inspect}" unless text.match?(pattern)
  end
end

path, build_folder, version = ARGV
load path
formula = Formula.loaded.new(build_folder, version)
formula.install
service = ServiceWords.new(formula)
service.instance_eval(&Formula.loaded.service_block)
puts JSON.generate(declared: Formula::DECLARED, commands: formula.commands, service: service.words,
                   caveats: formula.caveats)
formula.instance_eval(&Formula.loaded.test_block)
