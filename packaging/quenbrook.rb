# The Homebrew formula: brew install --HEAD packaging/quenbrook.rb
class Quenbrook < Formula
  desc "Scripted access to a person's calendars"
  homepage "https://quenbrook.example.org"
  head "https://quenbrook.example.org/quenbrook.git", branch: "main"

  depends_on "cmake" => :build
  depends_on "ninja" => :build
  depends_on "nlohmann-json" => :build
  depends_on "pkg-config" => :build
  depends_on "abseil"
  depends_on "icu4c"
  depends_on macos: :sonoma

  def install
    system "cmake", "-S", ".", "-B", "build", "-G", "Ninja", *std_cmake_args
    system "cmake", "--build", "build"
    system "cmake", "--install", "build"
  end

  test do
    assert_match "UNKNOWN_SUBCOMMAND", shell_output("#{bin}/quenbrook 2>&1", 2)
  end
end
