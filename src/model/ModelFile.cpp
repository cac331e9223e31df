#include "model/ModelFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "model/Faults.h"
#include "model/NumberText.h"
#include "model/SafeFile.h"
#include "model/View.h"

namespace quillane {

namespace {

std::string systemReason(const char* action, const std::string& path, int error) {
    return std::string("cannot ") + action + " " + path + ": " + std::strerror(error);
}

// ---------------------------------------------------------------------------
// Writing

// Appends one record: the fields joined by single commas, ended by CR LF.
class RecordWriter {
  public:
    template <class... Fields> void record(const Fields&... fields) {
        bool first = true;
        ((append(first, fields)), ...);
        text_ += "\r\n";
    }
    std::string& text() { return text_; }

  private:
    template <class Field> void append(bool& first, const Field& field) {
        if (!first) {
            text_ += ',';
        }
        first = false;
        text_ += formatGeneral(field);
    }

    std::string text_;
};

std::string modelText(const Model& m) {
    RecordWriter w;
    w.record(m.DomainWidth, m.ElementSize, m.OriginFracX, m.OriginFracY);
    w.record(m.CellRowCount, m.CellColumnCount);
    w.record(m.DomainX1, m.DomainY1);
    w.record(m.DomainX2, m.DomainY2);
    w.record(m.YoungModulus, m.PoissonRatio, m.Thickness);
    w.record(m.NodeCount, m.ElementCount);
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= m.CellColumnCount; ++j) {
            w.record(m.CellState(i, j));
        }
    }
    for (int k = 1; k <= m.NodeCount; ++k) {
        w.record(k, m.NodeXY(k, 1), m.NodeXY(k, 2));
    }
    for (int e = 1; e <= m.ElementCount; ++e) {
        w.record(e, m.ElementNodes(e, 1), m.ElementNodes(e, 2), m.ElementNodes(e, 3),
                 m.ElementNodes(e, 4));
    }
    for (int k = 1; k <= m.NodeCount; ++k) {
        w.record(k, m.NodeFreedom(k, 1), m.NodeFreedom(k, 2));
    }
    for (int k = 1; k <= m.NodeCount; ++k) {
        w.record(k, m.NodeLoad(k, 1), m.NodeLoad(k, 2));
    }
    w.record(m.StressTarget, m.Epsilon, m.Lambda);
    return std::move(w.text());
}

// ---------------------------------------------------------------------------
// Reading

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

// The whole field must be one number: [sign] digits [. digits] [E|e [sign] digits],
// with digits on at least one side of the point. No "inf", "nan" or hex forms.
bool isNumber(std::string_view s) {
    std::size_t i = 0;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) {
        ++i;
    }
    std::size_t digits = 0;
    while (i < s.size() && isDigit(s[i])) {
        ++i;
        ++digits;
    }
    if (i < s.size() && s[i] == '.') {
        ++i;
        while (i < s.size() && isDigit(s[i])) {
            ++i;
            ++digits;
        }
    }
    if (digits == 0) {
        return false;
    }
    if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
        ++i;
        if (i < s.size() && (s[i] == '+' || s[i] == '-')) {
            ++i;
        }
        if (i >= s.size() || !isDigit(s[i])) {
            return false;
        }
        while (i < s.size() && isDigit(s[i])) {
            ++i;
        }
    }
    return i == s.size();
}

// Reads the file's fields one after another. A comma and a line end (CR LF, LF or
// CR) both end a field, so records may be split or joined across lines freely.
class FieldReader {
  public:
    explicit FieldReader(std::string text) : text_(std::move(text)) {}

    // Names the records being read, for the message when the file ends early.
    void expect(const char* records) { records_ = records; }

    int16 readInteger() {
        const Field f = next();
        const double value = number(f);
        try {
            return roundToInt16(value);
        } catch (const OverflowFault&) {
            fail(f,
                 std::string(f.text) + " is outside the range of a whole number (-32768 to 32767)");
        }
    }

    float readSingle() {
        const Field f = next();
        const double value = number(f);
        try {
            return toSingle(value);
        } catch (const OverflowFault&) {
            fail(f, std::string(f.text) +
                        " is outside the range of a single-precision number (about "
                        "-3.4E+38 to 3.4E+38)");
        }
    }

    double readDouble() { return number(next()); }

  private:
    struct Field {
        std::string_view text; // without the blanks around it
        int line;
        int index;
    };

    Field next() {
        if (pos_ >= text_.size()) {
            throw ModelFileError("line " + std::to_string(line_) + ": the file ends before the " +
                                 records_ + " are complete");
        }
        const std::size_t start = pos_;
        while (pos_ < text_.size() && text_[pos_] != ',' && text_[pos_] != '\r' &&
               text_[pos_] != '\n') {
            ++pos_;
        }
        std::string_view raw(text_.data() + start, pos_ - start);
        while (!raw.empty() && isBlank(raw.front())) {
            raw.remove_prefix(1);
        }
        while (!raw.empty() && isBlank(raw.back())) {
            raw.remove_suffix(1);
        }
        const Field f{raw, line_, index_};
        // Step over the separator; CR LF counts as one line end.
        if (pos_ < text_.size()) {
            const char c = text_[pos_++];
            if (c == ',') {
                ++index_;
            } else {
                if (c == '\r' && pos_ < text_.size() && text_[pos_] == '\n') {
                    ++pos_;
                }
                ++line_;
                index_ = 1;
            }
        }
        return f;
    }

    double number(const Field& f) {
        if (f.text.empty()) {
            fail(f, "an empty field is not a number");
        }
        if (!isNumber(f.text)) {
            fail(f, "\"" + std::string(f.text) + "\" is not a number");
        }
        try {
            return leadingNumber(f.text);
        } catch (const OverflowFault&) {
            fail(f, std::string(f.text) +
                        " is outside the range of a double-precision number (about "
                        "-1.8E+308 to 1.8E+308)");
        }
    }

    [[noreturn]] static void fail(const Field& f, const std::string& what) {
        throw ModelFileError("line " + std::to_string(f.line) + ", field " +
                             std::to_string(f.index) + ": " + what);
    }

    std::string text_;
    std::size_t pos_ = 0;
    int line_ = 1;
    int index_ = 1;
    const char* records_ = "records";
};

std::string readWholeFile(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        throw ModelFileError(systemReason("open", path, errno));
    }
    std::string text;
    char buffer[65536];
    std::size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
        text.append(buffer, n);
    }
    const bool failed = std::ferror(file) != 0;
    const int error = errno;
    std::fclose(file);
    if (failed) {
        // A directory opens but cannot be read.
        throw ModelFileError(systemReason("read", path, error));
    }
    return text;
}

// Re-creates the arrays for the counts just read. A count that cannot size its
// array stops the opening there; the arrays sized before it keep their new size.
void sizeArrays(Model& m) {
    const int rows = m.CellRowCount;
    const int columns = m.CellColumnCount;
    const int nodes = m.NodeCount;
    const int elements = m.ElementCount;
    try {
        SizeGridArrays(m);
    } catch (const SubscriptFault&) {
        if (rows < 1) {
            throw ModelFileError("the model has no cells: " + std::to_string(rows) + " rows");
        }
        if (columns < 1) {
            throw ModelFileError("the model has no cells: " + std::to_string(columns) + " columns");
        }
        if (nodes < 0) {
            throw ModelFileError("the node count " + std::to_string(nodes) + " is negative");
        }
        throw ModelFileError("the element count " + std::to_string(elements) + " is negative");
    } catch (const OverflowFault&) {
        throw ModelFileError("the grid of " + std::to_string(rows) + " by " +
                             std::to_string(columns) + " cells is too large");
    } catch (const std::bad_alloc&) {
        throw ModelFileError("not enough memory for a grid of " + std::to_string(rows) + " by " +
                             std::to_string(columns) + " cells");
    }
}

} // namespace

void SaveModel(Model& m, const std::string& path) {
    m.ModelFilePath = path;

    // The whole text is formed first: a model whose arrays do not match its
    // counts fails here, before any file is touched.
    std::string text;
    try {
        text = modelText(m);
    } catch (const RuntimeFault& fault) {
        throw ModelFileError(std::string("cannot write the model: ") + fault.what());
    }

    try {
        WriteFileReplacing(path, text);
    } catch (const FileWriteError& error) {
        throw ModelFileError(error.what());
    }
}

void OpenModel(Model& m, const std::string& path, CanvasSize canvas,
               const std::function<void()>& closeHistory) {
    m.ModelFilePath = path;
    FieldReader in(readWholeFile(path));

    // Records 1 to 6 go straight into the model, field by field.
    in.expect("drawing-area settings");
    m.DomainWidth = in.readSingle();
    m.ElementSize = in.readSingle();
    m.OriginFracX = in.readSingle();
    m.OriginFracY = in.readSingle();
    in.expect("grid size");
    m.CellRowCount = in.readInteger();
    m.CellColumnCount = in.readInteger();
    in.expect("design-domain corners");
    m.DomainX1 = in.readSingle();
    m.DomainY1 = in.readSingle();
    m.DomainX2 = in.readSingle();
    m.DomainY2 = in.readSingle();
    in.expect("material values");
    m.YoungModulus = in.readDouble();
    m.PoissonRatio = in.readDouble();
    m.Thickness = in.readDouble();
    in.expect("mesh size");
    m.NodeCount = in.readInteger();
    m.ElementCount = in.readInteger();

    sizeArrays(m);

    // The running numbers are read and dropped: each value goes under the loop's
    // own index, whatever number the file gives it.
    in.expect("cell state records");
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= m.CellColumnCount; ++j) {
            m.CellState(i, j) = in.readInteger();
        }
    }
    in.expect("node records");
    for (int k = 1; k <= m.NodeCount; ++k) {
        in.readInteger();
        m.NodeXY(k, 1) = in.readDouble();
        m.NodeXY(k, 2) = in.readDouble();
    }
    in.expect("element records");
    for (int e = 1; e <= m.ElementCount; ++e) {
        in.readInteger();
        for (int n = 1; n <= 4; ++n) {
            m.ElementNodes(e, n) = in.readInteger();
        }
    }
    in.expect("support records");
    for (int k = 1; k <= m.NodeCount; ++k) {
        in.readInteger();
        m.NodeFreedom(k, 1) = in.readInteger();
        m.NodeFreedom(k, 2) = in.readInteger();
    }
    in.expect("load records");
    for (int k = 1; k <= m.NodeCount; ++k) {
        in.readInteger();
        m.NodeLoad(k, 1) = in.readDouble();
        m.NodeLoad(k, 2) = in.readDouble();
    }
    in.expect("optimization parameters");
    m.StressTarget = in.readSingle();
    m.Epsilon = in.readInteger();
    m.Lambda = in.readSingle();

    // The view follows the canvas's current aspect; the origin keeps its place
    // given by the fractions.
    FitView(m, canvas.width, canvas.height);
    m.DomainDefined = -1;

    if (m.HistoryRecording != 0) {
        if (closeHistory) {
            closeHistory();
        }
        m.HistoryRecording = 0;
    }
}

} // namespace quillane
