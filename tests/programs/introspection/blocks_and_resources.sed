# What the linker decides.
s/^\(.\{25\}  \)[0-9a-f]\{16\} /\1ADDRESS /
s/pe location=[0-9a-f]*/pe location=PE/
s/resource_location=4[0-9a-f]*/resource_location=SECTION/
s/resource_section_length=[1-9a-f][0-9a-f]*/resource_section_length=LENGTH/
s/based at 4[0-9a-f]*/based at SECTION/
s/bracken_resource_block_[0-9a-f]*/bracken_resource_block_OFFSET/
