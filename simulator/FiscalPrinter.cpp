#include "FiscalPrinter.h"

#include "Defaults.h"
#include "EcrComm/EcrComm.h"
#include "Format.h"
#include "Formatting/BinaryDataFormatter.h"
#include "Formatting/BinaryDataParser.h"
#include "Text/RecordText.h"

namespace {

constexpr int cardPayment = 2;
constexpr int paperWidth = 40;

/** A name on the left and an amount on the right of the paper. */
std::string PaperLine(const std::string& left, const Decimal& amount) {
    Decimal shown = amount;
    shown.SetDecimalCount(2);
    return Format("%-*s%10s", paperWidth - 10, left.c_str(), shown.ToString().c_str());
}

std::string Centred(const std::string& text) {
    const size_t room = text.size() < paperWidth ? paperWidth - text.size() : 0;
    return std::string(room / 2, ' ') + text;
}

class RecordBuilder {
public:
    RecordBuilder& Add(const Decimal& number) {
        m_formatter.AddNumber(number);
        return *this;
    }
    RecordBuilder& Add(const char* text) {
        m_formatter.AddString(text);
        return *this;
    }
    Record Get() { return {m_buffer, m_buffer + m_formatter.GetLength()}; }

private:
    byte m_buffer[commIoBufferSize] = {};
    BinaryDataFormatter m_formatter{m_buffer, sizeof m_buffer};
};

}  // namespace

byte FiscalPrinter::Execute(byte command, const Record& fields, std::vector<std::string>& paper) {
    for (const PrinterCommand& known : printerCommands) {
        if (known.code != command) continue;
        const bool isPossible =
            known.when == ReceiptState::Any || m_isOpen == (known.when == ReceiptState::Open);
        return isPossible ? (this->*known.execute)(fields, paper) : byte{ResponseCode_CommandFailed};
    }
    paper.push_back(Format("(%d) ", command) + DescribeFields(fields));
    return ResponseCode_OK;
}

byte FiscalPrinter::Open(const Record&, std::vector<std::string>& paper) {
    m_isOpen = true;
    m_lines = 0;
    m_total = m_paid = 0;
    paper.push_back(Centred(Format("RECEIPT %d", ++m_receipts)));
    return ResponseCode_OK;
}

byte FiscalPrinter::Close(const Record&, std::vector<std::string>& paper) {
    if (Compare(m_paid, m_total) < 0) return ResponseCode_CommandFailed;
    m_isOpen = false;
    m_dayTotal += m_total;
    paper.emplace_back(paperWidth, '-');
    return ResponseCode_OK;
}

byte FiscalPrinter::Sell(const Record& fields, std::vector<std::string>& paper) {
    BinaryDataParser parser(fields.data(), static_cast<uint16_t>(fields.size()));
    char name[128];
    Decimal quantity;
    Decimal price;
    if (!parser.GetString(name, sizeof name) || !parser.GetNumber(quantity) || !parser.GetNumber(price) ||
        parser.GetFieldType() != FieldType_None)
        return ResponseCode_BadData;
    const Decimal amount = Round(quantity * price, 2);
    m_total += amount;
    m_lines++;
    paper.push_back(
        PaperLine(std::string(name) + "  " + quantity.ToString() + " x " + price.ToString(), amount));
    return ResponseCode_OK;
}

byte FiscalPrinter::PrintText(const Record& fields, std::vector<std::string>& paper) {
    BinaryDataParser parser(fields.data(), static_cast<uint16_t>(fields.size()));
    char text[128];
    if (!parser.GetString(text, sizeof text) || parser.GetFieldType() != FieldType_None)
        return ResponseCode_BadData;
    paper.emplace_back(text);
    return ResponseCode_OK;
}

byte FiscalPrinter::Pay(const Record& fields, std::vector<std::string>& paper) {
    BinaryDataParser parser(fields.data(), static_cast<uint16_t>(fields.size()));
    Decimal kind;
    Decimal amount;
    if (!parser.GetNumber(kind) || !parser.GetNumber(amount) || parser.GetFieldType() != FieldType_None)
        return ResponseCode_BadData;
    const bool isCard = kind.ToInt64() == cardPayment;
    if (isCard) {
        m_cardPayments++;
        m_cardTotal += amount;
        m_lastCardPayment = amount;
    }
    if (Compare(m_paid, Decimal()) == 0) paper.push_back(PaperLine("TOTAL", m_total));
    m_paid += amount;
    paper.push_back(PaperLine(isCard ? "Card" : "Cash", amount));
    return ResponseCode_OK;
}

Record FiscalPrinter::GetStatus() const {
    return RecordBuilder()
        .Add(Decimal(m_receipts, 0))
        .Add(m_isOpen ? "receipt open" : "receipt closed")
        .Add(Decimal(m_lines, 0))
        .Add(m_total)
        .Add(m_dayTotal)
        .Get();
}

Record FiscalPrinter::GetEftStatus() const {
    return RecordBuilder()
        .Add("terminal ready")
        .Add(Decimal(m_cardPayments, 0))
        .Add(m_cardTotal)
        .Add(m_lastCardPayment)
        .Get();
}
