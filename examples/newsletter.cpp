// examples/newsletter.cpp - writes a newsletter: text, HTML with an image in it, and an attachment
#include "examples/support/streamed_note.hpp"

#include <mime/vellum.hpp>

#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

namespace {

struct Part {
    int depth; // how many multiparts lie around it
    char const * type;
    char const * subtype;
    std::string_view body = {};
    char const * file_name = nullptr;
    char const * content_id = nullptr;
};

constexpr char dot[] = "GIF89a\1\0\1\0\200\0\0\0\0\0\377\377\377,\0\0\0\0\1\0\1\0\0\2\2D\1\0;";

Part const newsletter[] = {
    {0, "multipart", "mixed"},
    {1, "multipart", "alternative"},
    {2, "text", "plain", "Grüße vom Leuchtturm\n"},
    {2, "multipart", "related"},
    {3, "text", "html", "<p>Grüße vom Leuchtturm</p>\n<img src=\"cid:dot@harbour.example\">\n"},
    {3, "image", "gif", {dot, sizeof dot - 1}, nullptr, "dot@harbour.example"},
    {1, "text", "csv", "月,部数\n3,1200\n", "灯台の年次報告.csv"}};

class Newsletter : public examples::StreamedNote {
public:
    explicit Newsletter(std::ostream & out) : StreamedNote(out) {
        for (int i = 0; i < 60; ++i)
            issues_ += "<issue." + std::to_string(i) + "@harbour.example> ";
    }

protected:
    int BeginPart(MimeContext & context) override { // a multipart asks until there is no more
        if (next_ == std::end(newsletter) || next_->depth != context.multipart_depth) return 0;
        part_ = next_++;
        return 1;
    }
    int BeginBody(MimeContext &, std::istream ** body) override {
        if (body != nullptr) *body = &(body_ = std::istringstream(std::string(part_->body)));
        return 0;
    }
    int Get_From(SymToken & field, char const *& name, char const *& address) override {
        if (field != RFC822::From || address != nullptr) return 0;
        name = "Der Leuchtturmwärter";
        address = "keeper@harbour.example";
        return 1;
    }
    int Get_To(SymToken & field, char const *& name, char const *& address) override {
        if (field != RFC822::To || address != nullptr) return 0;
        name = "山田, 太郎";
        address = "yamada@reader.example";
        return 1;
    }
    int Get_Subject(char const *& value) override { return value = "Nebel im März 🌊", 1; }
    int Get_References(char const *& value) override { return value = issues_.c_str(), 1; }
    int Get_Content_Type(SymToken & type, SymToken & subtype) override {
        type = part_->type;
        subtype = part_->subtype;
        return 1;
    }
    int Get_Content_Id(char const *& id) override { return id = part_->content_id, 1; }
    int GetFileName(char const *& name) override { return name = part_->file_name, 1; }
    void PutTraceFields() override { // it is called once, and not for each part
        std::string const leave = "harbour.example/leave?" + std::string(550, 'k') + ">";
        std::string const value = "<mailto:leave@harbour.example>, <https://" + leave;
        SendField("List-Unsubscribe", (value + ", <https://mirror." + leave).c_str());
    }

private:
    std::string issues_;
    Part const * next_ = newsletter;
    Part const * part_ = nullptr; ///< That which was begun last.
    std::istringstream body_;
};

} // namespace

int main(int count, char ** words) {
    NLS::PlatformCodePage = 65001; // the texts above are in UTF-8
    std::ofstream file(count > 1 ? words[1] : "", std::ios::binary);
    return Newsletter(count > 1 ? file : std::cout).Write() ? 0 : 1;
}
