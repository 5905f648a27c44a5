# Types of vlmathdsp.nn: NumPy arrays in give arrays out, CPU tensors give tensors.
from typing import Any, Optional, Sequence, Union

_Array = Any  # numpy.ndarray or torch.Tensor
_Pair = Union[int, Sequence[int]]

def conv2d(input: _Array, weight: _Array, bias: Optional[_Array] = ..., stride: _Pair = ...,
           padding: Union[_Pair, str] = ..., dilation: _Pair = ..., groups: int = ...) -> _Array: ...
def conv2d_input(input_size: Sequence[int], weight: _Array, grad_output: _Array, stride: _Pair = ...,
                 padding: Union[_Pair, str] = ..., dilation: _Pair = ..., groups: int = ...) -> _Array: ...
def conv2d_weight(input: _Array, weight_size: Sequence[int], grad_output: _Array, stride: _Pair = ...,
                  padding: Union[_Pair, str] = ..., dilation: _Pair = ..., groups: int = ...) -> _Array: ...
def max_pool2d(input: _Array, kernel_size: _Pair, stride: Optional[_Pair] = ..., padding: _Pair = ...,
               dilation: _Pair = ..., ceil_mode: bool = ..., return_indices: bool = ...) -> _Array: ...
def avg_pool2d(input: _Array, kernel_size: _Pair, stride: Optional[_Pair] = ..., padding: _Pair = ...,
               ceil_mode: bool = ..., count_include_pad: bool = ..., divisor_override: Optional[int] = ...) -> _Array: ...
def avg_pool2d_backward(grad_output: _Array, input: _Array, kernel_size: _Pair, stride: Optional[_Pair] = ...,
                        padding: _Pair = ..., ceil_mode: bool = ..., count_include_pad: bool = ...,
                        divisor_override: Optional[int] = ...) -> _Array: ...
def local_response_norm(input: _Array, size: int, alpha: float = ..., beta: float = ..., k: float = ...) -> _Array: ...

class Conv2dFunction:
    @staticmethod
    def apply(input: Any, weight: Any, bias: Any = ..., stride: _Pair = ..., padding: Union[_Pair, str] = ...,
              groups: int = ...) -> Any: ...

class AvgPool2dFunction:
    @staticmethod
    def apply(input: Any, kernel_size: _Pair, stride: Optional[_Pair] = ..., padding: _Pair = ...,
              count_include_pad: bool = ...) -> Any: ...
