#include <samplers/RunRecord.h>

namespace quarn::samplers {
namespace {

constexpr char Key[] = "run";

}  // namespace

void StoreRunRecord(const RunRecord& record, Model& model) {
    const auto seed = static_cast<std::uint64_t>(record.Seed);
    const auto field = std::make_shared<MatrixXd>(6, 1);
    *field << static_cast<double>(record.Chains), static_cast<double>(record.Draws), static_cast<double>(record.Burnin),
        static_cast<double>(record.Thin), static_cast<double>(seed >> 32U), static_cast<double>(seed & 0xFFFF'FFFFU);
    model.HiddenElements[Key] = field;
}

RunRecord GetRunRecord(const Model& model) {
    RunRecord record;
    record.Draws = model.Samples == nullptr ? 0 : model.Samples->rows();
    const auto found = model.HiddenElements.find(Key);
    if (found == model.HiddenElements.end() || found->second->size() != 6) return record;
    const MatrixXd& field = *found->second;
    constexpr double most = 0x1p53;
    // Written so that NaN fails.
    if (!((field.array() >= 0.0) && (field.array() <= most) && (field.array() == field.array().floor())).all() ||
        field(4) > 0xFFFF'FFFFU || field(5) > 0xFFFF'FFFFU || field(0) * field(1) != static_cast<double>(record.Draws))
        return record;
    record.Chains = static_cast<std::int64_t>(field(0));
    record.Draws = static_cast<std::int64_t>(field(1));
    record.Burnin = static_cast<std::int64_t>(field(2));
    record.Thin = static_cast<std::int64_t>(field(3));
    record.Seed =
        static_cast<std::int64_t>((static_cast<std::uint64_t>(field(4)) << 32U) | static_cast<std::uint64_t>(field(5)));
    return record;
}

}  // namespace quarn::samplers
