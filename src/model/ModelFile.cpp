#include "model/ModelFile.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

// The largest file any model can give. A model has at most 32767 cells and 32767
// nodes, and its elements are its cells. Written at full length a value takes at most
// 6 characters as an Integer ("-32768"), 13 as a Single ("-1.234567E-38") and 22 as a
// Double ("-1.23456789012345E-308"); with the commas and line ends the fixed records
// come to 251 bytes, each cell with its element to 8 + 36 and each node to
// 54 + 22 + 54. So no model file exceeds 251 + 174 x 32767 = 5 701 709 bytes; a
// little above that, anything larger is refused before it is read.
constexpr std::size_t kLargestModelFile = 6'000'000;

// Where a field stands in the file, for the messages.
struct Where {
    int line = 1;
    int index = 1;
};

[[noreturn]] void fail(Where at, const std::string& what) {
    throw ModelFileError("line " + std::to_string(at.line) + ", field " + std::to_string(at.index) +
                         ": " + what);
}

// Reads the file's fields one after another. A comma and a line end (CR LF, LF or
// CR) both end a field, so records may be split or joined across lines freely.
class FieldReader {
  public:
    explicit FieldReader(std::string text) : text_(std::move(text)) {}

    // Names the records being read, for the message when the file ends early.
    void expect(const char* records) { records_ = records; }

    // The field read last, and the bytes not read yet.
    Where last() const { return last_; }
    std::size_t remaining() const { return text_.size() - pos_; }

    int16 readInteger() {
        const std::string_view text = next();
        const double value = number(text);
        try {
            return roundToInt16(value);
        } catch (const OverflowFault&) {
            fail(last_,
                 QuotedText(text) + " is outside the range of a whole number (-32768 to 32767)");
        }
    }

    float readSingle() {
        const std::string_view text = next();
        const double value = number(text);
        try {
            return toSingle(value);
        } catch (const OverflowFault&) {
            fail(last_, QuotedText(text) +
                            " is outside the range of a single-precision number (about "
                            "-3.4E+38 to 3.4E+38)");
        }
    }

    double readDouble() { return number(next()); }

    // The running number at the head of a record: record k of its group must say k.
    void readRunningNumber(int k, const char* record) {
        const int16 number = readInteger();
        if (number != k) {
            fail(last_, std::string("the ") + record + " record " + std::to_string(k) +
                            " is numbered " + std::to_string(number) +
                            "; the records of a "
                            "group are numbered 1, 2, 3, ... in order");
        }
    }

  private:
    // The next field without the blanks around it.
    std::string_view next() {
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
        last_ = Where{line_, index_};
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
        return raw;
    }

    double number(std::string_view text) const {
        if (text.empty()) {
            fail(last_, "an empty field is not a number");
        }
        if (!isNumber(text)) {
            fail(last_, QuotedText(text) + " is not a number");
        }
        try {
            return leadingNumber(text);
        } catch (const OverflowFault&) {
            fail(last_, QuotedText(text) +
                            " is outside the range of a double-precision number (about "
                            "-1.8E+308 to 1.8E+308)");
        }
    }

    std::string text_;
    std::size_t pos_ = 0;
    int line_ = 1;
    int index_ = 1;
    Where last_;
    const char* records_ = "records";
};

// The whole file, read only when it can be a model file: a plain file (a pipe would
// block and a device might never end) no larger than any model.
std::string readModelFile(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        throw ModelFileError(systemReason("open", path, errno));
    }
    struct Closer {
        int fd;
        explicit Closer(int file) : fd(file) {}
        Closer(const Closer&) = delete;
        Closer& operator=(const Closer&) = delete;
        ~Closer() { ::close(fd); }
    } closer(fd);
    struct stat info {};
    if (::fstat(fd, &info) != 0) {
        throw ModelFileError(systemReason("read", path, errno));
    }
    if (S_ISDIR(info.st_mode)) {
        throw ModelFileError(systemReason("read", path, EISDIR));
    }
    if (!S_ISREG(info.st_mode)) {
        throw ModelFileError("cannot read " + path +
                             ": it is not a plain file (a device, a pipe or a socket)");
    }
    const auto tooLarge = [&path](std::size_t size) {
        return ModelFileError("cannot read " + path + ": at " + std::to_string(size) +
                              " bytes or more it is larger than any model file can be (at most " +
                              std::to_string(kLargestModelFile) + " bytes)");
    };
    if (static_cast<unsigned long long>(info.st_size) > kLargestModelFile) {
        throw tooLarge(static_cast<std::size_t>(info.st_size));
    }
    std::string text;
    text.reserve(static_cast<std::size_t>(info.st_size));
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            throw ModelFileError(systemReason("read", path, errno));
        }
        if (n == 0) {
            break;
        }
        text.append(buffer, static_cast<std::size_t>(n));
        // The file may grow while it is read.
        if (text.size() > kLargestModelFile) {
            throw tooLarge(text.size());
        }
    }
    return text;
}

// The counts of records 2 and 6 must describe one grid that the file can hold,
// before anything is sized from them: at least one cell, at most 32767 cells and
// nodes, nodes (rows + 1) x (columns + 1), elements rows x columns, and enough bytes
// left for the records they announce (each field at least one character and its
// separator).
void checkCounts(const Model& m, Where rowsAt, Where columnsAt, Where nodesAt, Where elementsAt,
                 std::size_t remaining) {
    const long long rows = m.CellRowCount;
    const long long columns = m.CellColumnCount;
    if (rows < 1) {
        fail(rowsAt, "the model has no cells: " + std::to_string(rows) + " rows");
    }
    if (columns < 1) {
        fail(columnsAt, "the model has no cells: " + std::to_string(columns) + " columns");
    }
    const std::string grid =
        "a grid of " + std::to_string(rows) + " by " + std::to_string(columns) + " cells";
    const long long cells = rows * columns;
    const long long nodes = (rows + 1) * (columns + 1);
    if (cells > kInt16Max || nodes > kInt16Max) {
        fail(columnsAt, grid + " has " + std::to_string(cells) + " cells and " +
                            std::to_string(nodes) +
                            " nodes, more than a model can hold (32767 of each)");
    }
    if (m.NodeCount != nodes) {
        fail(nodesAt, "the node count " + std::to_string(m.NodeCount) + " does not match " + grid +
                          ", which has " + std::to_string(nodes) + " nodes");
    }
    if (m.ElementCount != cells) {
        fail(elementsAt, "the element count " + std::to_string(m.ElementCount) +
                             " does not match " + grid + ", which has " + std::to_string(cells) +
                             " elements");
    }
    // Cells, nodes (3 fields), elements (5), supports (3), loads (3), parameters (3).
    const long long fields = cells + 3 * nodes + 5 * cells + 3 * nodes + 3 * nodes + 3;
    const long long needed = 2 * fields - 1;
    if (static_cast<long long>(remaining) < needed) {
        fail(elementsAt, "the file is too short for " + grid + ": the records that follow need " +
                             "at least " + std::to_string(needed) + " bytes, and " +
                             std::to_string(remaining) + " are left");
    }
}

// Records 1 to 12 into a model of their own. Raises ModelFileError.
void readRecords(Model& m, const std::string& path) {
    FieldReader in(readModelFile(path));

    in.expect("drawing-area settings");
    m.DomainWidth = in.readSingle();
    m.ElementSize = in.readSingle();
    m.OriginFracX = in.readSingle();
    m.OriginFracY = in.readSingle();
    in.expect("grid counts");
    m.CellRowCount = in.readInteger();
    const Where rowsAt = in.last();
    m.CellColumnCount = in.readInteger();
    const Where columnsAt = in.last();
    in.expect("design-domain corners");
    m.DomainX1 = in.readSingle();
    m.DomainY1 = in.readSingle();
    m.DomainX2 = in.readSingle();
    m.DomainY2 = in.readSingle();
    in.expect("material values");
    m.YoungModulus = in.readDouble();
    m.PoissonRatio = in.readDouble();
    m.Thickness = in.readDouble();
    in.expect("mesh counts");
    m.NodeCount = in.readInteger();
    const Where nodesAt = in.last();
    m.ElementCount = in.readInteger();
    checkCounts(m, rowsAt, columnsAt, nodesAt, in.last(), in.remaining());

    SizeGridArrays(m);

    in.expect("cell state records");
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= m.CellColumnCount; ++j) {
            m.CellState(i, j) = in.readInteger();
        }
    }
    in.expect("node records");
    for (int k = 1; k <= m.NodeCount; ++k) {
        in.readRunningNumber(k, "node");
        m.NodeXY(k, 1) = in.readDouble();
        m.NodeXY(k, 2) = in.readDouble();
    }
    in.expect("element records");
    for (int e = 1; e <= m.ElementCount; ++e) {
        in.readRunningNumber(e, "element");
        for (int n = 1; n <= 4; ++n) {
            const int16 node = in.readInteger();
            if (node < 1 || node > m.NodeCount) {
                fail(in.last(), "node " + std::to_string(node) + " of element " +
                                    std::to_string(e) + " is not one of the model's nodes (1 to " +
                                    std::to_string(m.NodeCount) + ")");
            }
            m.ElementNodes(e, n) = node;
        }
    }
    in.expect("support records");
    for (int k = 1; k <= m.NodeCount; ++k) {
        in.readRunningNumber(k, "support");
        m.NodeFreedom(k, 1) = in.readInteger();
        m.NodeFreedom(k, 2) = in.readInteger();
    }
    in.expect("load records");
    for (int k = 1; k <= m.NodeCount; ++k) {
        in.readRunningNumber(k, "load");
        m.NodeLoad(k, 1) = in.readDouble();
        m.NodeLoad(k, 2) = in.readDouble();
    }
    in.expect("optimization parameters");
    m.StressTarget = in.readSingle();
    m.Epsilon = in.readInteger();
    m.Lambda = in.readSingle();
}

// The model in memory takes what was read: records 1 to 12, the arrays sized for
// them (the derived and result ones zero-filled, as opening has always re-created
// them) and the view.
void takeRecords(Model& m, Model& file) {
    m.DomainWidth = file.DomainWidth;
    m.ElementSize = file.ElementSize;
    m.OriginFracX = file.OriginFracX;
    m.OriginFracY = file.OriginFracY;
    m.CellRowCount = file.CellRowCount;
    m.CellColumnCount = file.CellColumnCount;
    m.DomainX1 = file.DomainX1;
    m.DomainY1 = file.DomainY1;
    m.DomainX2 = file.DomainX2;
    m.DomainY2 = file.DomainY2;
    m.YoungModulus = file.YoungModulus;
    m.PoissonRatio = file.PoissonRatio;
    m.Thickness = file.Thickness;
    m.NodeCount = file.NodeCount;
    m.ElementCount = file.ElementCount;
    m.StressTarget = file.StressTarget;
    m.Epsilon = file.Epsilon;
    m.Lambda = file.Lambda;

    m.CellState = std::move(file.CellState);
    m.Potential = std::move(file.Potential);
    m.NodeXY = std::move(file.NodeXY);
    m.NodeFreedom = std::move(file.NodeFreedom);
    m.DofNumber = std::move(file.DofNumber);
    m.NodeLoad = std::move(file.NodeLoad);
    m.NodeDisp = std::move(file.NodeDisp);
    m.NodeActive = std::move(file.NodeActive);
    m.ElementNodes = std::move(file.ElementNodes);
    m.ElementDofs = std::move(file.ElementDofs);
    m.CellStress = std::move(file.CellStress);

    m.DomainHeight = file.DomainHeight;
    m.ViewRight = file.ViewRight;
    m.ViewTop = file.ViewTop;
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
    // All or nothing: the file is read into a model of its own, and the one in memory
    // changes only once the whole file has been read and checked.
    Model file;
    readRecords(file, path);
    // The view follows the canvas's current aspect; the origin keeps its place
    // given by the fractions.
    FitView(file, canvas.width, canvas.height);

    takeRecords(m, file);
    // A solve of the model before is not this model's.
    ForgetLastSolve(m);
    m.ModelFilePath = path;
    m.DomainDefined = -1;
    if (m.HistoryRecording != 0) {
        if (closeHistory) {
            closeHistory();
        }
        m.HistoryRecording = 0;
    }
}

} // namespace quillane
