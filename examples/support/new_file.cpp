// examples/support/new_file.cpp - a file that wasn't there before
#include "examples/support/new_file.hpp"

namespace examples {

NewFile::NewFile(std::filesystem::path const & path) {
    // "x" creates or fails (C11 7.21.5.3), which std::ofstream can't do before C++23.
    buffer_.file.reset(std::fopen(path.string().c_str(), "wbx"));
}

bool NewFile::close() { return std::fclose(buffer_.file.release()) == 0 && stream_.good(); }

NewFile::Buffer::int_type NewFile::Buffer::overflow(int_type byte) {
    if (traits_type::eq_int_type(byte, traits_type::eof())) return traits_type::not_eof(byte);
    return std::fputc(byte, file.get()); // EOF is the same in both
}

std::streamsize NewFile::Buffer::xsputn(char const * data, std::streamsize size) {
    return static_cast<std::streamsize>(
        std::fwrite(data, 1, static_cast<std::size_t>(size), file.get()));
}

} // namespace examples
