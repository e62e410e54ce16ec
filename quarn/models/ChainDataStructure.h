#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

#include <map>
#include <string>

namespace quarn {

/// The state of one chain of a sampler between calls: named values of six kinds. The names of each kind are its own: one
/// key can stand for an integer and for a matrix. Values are copied on their way in and out.
///
///   Add     stores the value, in place of the one under that key, if there is one; it may be a value stored here
///   Remove  false if there is no such key
///   Get     false, and value as it was, if there is no such key
///
/// Errors:  std::bad_alloc, with the structure as it was.
/// Threads: each chain has its own.
class QUARN_EXPORT ChainDataStructure {
 public:
    std::map<std::string, int> Integers;
    std::map<std::string, unsigned int> UIntegers;
    std::map<std::string, double> Doubles;
    std::map<std::string, MatrixXd> Matrices;
    std::map<std::string, VectorXd> Vectors;
    std::map<std::string, MatrixXi> MatricesXi;

    void AddInteger(const std::string& key, int value);
    bool RemoveInteger(const std::string& key);
    bool GetInteger(const std::string& key, int& value) const;

    void AddUInteger(const std::string& key, unsigned int value);
    bool RemoveUInteger(const std::string& key);
    bool GetUInteger(const std::string& key, unsigned int& value) const;

    void AddDouble(const std::string& key, double value);
    bool RemoveDouble(const std::string& key);
    bool GetDouble(const std::string& key, double& value) const;

    void AddMatrix(const std::string& key, const MatrixXd& value);
    bool RemoveMatrix(const std::string& key);
    bool GetMatrix(const std::string& key, MatrixXd& value) const;

    void AddVector(const std::string& key, const VectorXd& value);
    bool RemoveVector(const std::string& key);
    bool GetVector(const std::string& key, VectorXd& value) const;

    void AddMatrixXi(const std::string& key, const MatrixXi& value);
    bool RemoveMatrixXi(const std::string& key);
    bool GetMatrixXi(const std::string& key, MatrixXi& value) const;

    bool IsEmpty() const;
};

}  // namespace quarn
