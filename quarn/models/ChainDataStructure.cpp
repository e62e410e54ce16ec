#include <quarn/base/Resizing_detail.h>
#include <quarn/models/ChainDataStructure.h>

#include <type_traits>
#include <utility>

namespace quarn {
namespace {

/// By value: the argument may be stored in the same map.
template <class Value>
void Add(std::map<std::string, Value>& values, const std::string& key, Value value) {
    values.insert_or_assign(key, std::move(value));
}

template <class Value>
bool Get(const std::map<std::string, Value>& values, const std::string& key, Value& value) {
    const auto found = values.find(key);
    if (found == values.end()) return false;
    if constexpr (std::is_arithmetic_v<Value>) {
        value = found->second;
    } else {
        detail::Assign(value, found->second);
    }
    return true;
}

}  // namespace

void ChainDataStructure::AddInteger(const std::string& key, int value) { Add(Integers, key, value); }
void ChainDataStructure::AddUInteger(const std::string& key, unsigned int value) { Add(UIntegers, key, value); }
void ChainDataStructure::AddDouble(const std::string& key, double value) { Add(Doubles, key, value); }
void ChainDataStructure::AddMatrix(const std::string& key, const MatrixXd& value) { Add(Matrices, key, value); }
void ChainDataStructure::AddVector(const std::string& key, const VectorXd& value) { Add(Vectors, key, value); }
void ChainDataStructure::AddMatrixXi(const std::string& key, const MatrixXi& value) { Add(MatricesXi, key, value); }

bool ChainDataStructure::RemoveInteger(const std::string& key) { return Integers.erase(key) != 0; }
bool ChainDataStructure::RemoveUInteger(const std::string& key) { return UIntegers.erase(key) != 0; }
bool ChainDataStructure::RemoveDouble(const std::string& key) { return Doubles.erase(key) != 0; }
bool ChainDataStructure::RemoveMatrix(const std::string& key) { return Matrices.erase(key) != 0; }
bool ChainDataStructure::RemoveVector(const std::string& key) { return Vectors.erase(key) != 0; }
bool ChainDataStructure::RemoveMatrixXi(const std::string& key) { return MatricesXi.erase(key) != 0; }

bool ChainDataStructure::GetInteger(const std::string& key, int& value) const { return Get(Integers, key, value); }
bool ChainDataStructure::GetUInteger(const std::string& key, unsigned int& value) const {
    return Get(UIntegers, key, value);
}
bool ChainDataStructure::GetDouble(const std::string& key, double& value) const { return Get(Doubles, key, value); }
bool ChainDataStructure::GetMatrix(const std::string& key, MatrixXd& value) const { return Get(Matrices, key, value); }
bool ChainDataStructure::GetVector(const std::string& key, VectorXd& value) const { return Get(Vectors, key, value); }
bool ChainDataStructure::GetMatrixXi(const std::string& key, MatrixXi& value) const {
    return Get(MatricesXi, key, value);
}

bool ChainDataStructure::IsEmpty() const {
    return Integers.empty() && UIntegers.empty() && Doubles.empty() && Matrices.empty() && Vectors.empty() &&
           MatricesXi.empty();
}

}  // namespace quarn
