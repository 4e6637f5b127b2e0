# The Homebrew formula. Homebrew takes formulae from taps only; one of your own is made at once, and builds
# from the clone in which you are, or from any repository whose URL takes its place:
#
#     brew tap-new --no-git "$USER/local"
#     sed "s,@REPOSITORY@,file://$PWD," packaging/quenbrook.rb \
#         >"$(brew --repository "$USER/local")/Formula/quenbrook.rb"
#     brew install --HEAD "$USER/local/quenbrook"
class Quenbrook < Formula
  desc "Scripted access to a person's calendars"
  homepage "https://quenbrook.example.org"
  head "@REPOSITORY@", using: :git, branch: "main"

  depends_on "cmake" => :build
  depends_on "icu4c" => :build
  depends_on "ninja" => :build
  depends_on "nlohmann-json" => :build
  depends_on macos: :sonoma

  def install
    # ICU's archives are linked, so that nothing of it is needed later; its tools take out the data needed.
    system "cmake", "-S", ".", "-B", "build", "-G", "Ninja", "-DQUENBROOK_STATIC_ICU=ON",
           "-DCMAKE_PREFIX_PATH=#{Formula["icu4c"].opt_prefix}", *std_cmake_args
    system "cmake", "--build", "build", "--target", "quenbrook"
    system "cmake", "--install", "build"
  end

  test do
    assert_match "UNKNOWN_SUBCOMMAND", shell_output("#{bin}/quenbrook 2>&1", 2)
  end
end
