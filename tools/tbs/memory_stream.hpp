// memory_stream.hpp - a stream whose text stays in memory, for the library functions that write to one.
#ifndef TOOLS_TBS_MEMORY_STREAM_HPP
#define TOOLS_TBS_MEMORY_STREAM_HPP

#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

namespace tool {

class memory_stream {
public:
    memory_stream() : stream_(open_memstream(&text_, &size_)) {
        if (!stream_) throw std::bad_alloc();
    }
    ~memory_stream() {
        std::fclose(stream_);
        std::free(text_);
    }
    memory_stream(const memory_stream &) = delete;
    memory_stream &operator=(const memory_stream &) = delete;

    [[nodiscard]] FILE *get() const { return stream_; }

    // What was written.
    [[nodiscard]] std::string text() const {
        if (std::fflush(stream_) != 0 || std::ferror(stream_)) throw std::bad_alloc(); // memory is all it can lack
        return {text_, size_};
    }

private:
    char *text_ = nullptr;
    size_t size_ = 0;
    FILE *stream_;
};

} // namespace tool

#endif
